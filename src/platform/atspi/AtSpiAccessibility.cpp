#include "AtSpiAccessibility.h"

#include "AtSpiFocus.h"
#include "AtSpiFocusFollower.h"
#include "AtSpiParagraphs.h"
#include "AtSpiText.h"
#include "base/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <algorithm>
#include <array>
#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto CONNECT_LIMIT = 1s;
constexpr int STATUS_LIMIT_MS = 5000; // the answer may have to wait until the service is started

QDBusMessage statusCall(const char* method, const QVariantList& more = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        u"org.a11y.Bus"_s, u"/org/a11y/bus"_s, u"org.freedesktop.DBus.Properties"_s, QString::fromLatin1(method));
    message.setArguments(QVariantList{u"org.a11y.Status"_s, u"IsEnabled"_s} + more);
    return message;
}

AtSpiFocusFollower* following(AtSpiFocusFollower* follower) {
    QMetaObject::invokeMethod(follower, &AtSpiFocusFollower::follow, Qt::QueuedConnection);
    return follower;
}

FocusKind focusKind(uint role, const AtSpiStates& states, AccessibleSelection::Kind selection) {
    constexpr std::array noText{AtSpiRole::PushButton,  AtSpiRole::ToggleButton,  AtSpiRole::CheckBox,
                                AtSpiRole::RadioButton, AtSpiRole::Menu,          AtSpiRole::MenuBar,
                                AtSpiRole::MenuItem,    AtSpiRole::CheckMenuItem, AtSpiRole::RadioMenuItem,
                                AtSpiRole::PopupMenu,   AtSpiRole::Slider};
    if (role == AtSpiRole::PasswordText)
        return FocusKind::Password;
    if (role == AtSpiRole::Terminal)
        return FocusKind::Terminal;
    if (std::find(noText.begin(), noText.end(), role) != noText.end())
        return FocusKind::NoText;
    if (selection == AccessibleSelection::Kind::Unavailable)
        return FocusKind::Unknown;
    return states.has(AtSpiState::Editable) ? FocusKind::Editable : FocusKind::ReadOnly;
}

/// The selection where `object` has the focus, which lies on a page when there is a `document`.
AccessibleSelection selectionAt(const AtSpiQuery& query, const AtSpiRef& object, const AtSpiRef& document) {
    const QDBusPendingCall statesAsked = query.beginStates(object), roleAsked = query.beginRole(object);
    AccessibleSelection found = selectionOf(query, object);
    const AtSpiStates states = query.states(statesAsked);
    found.focus = focusKind(query.role(roleAsked), states, found.kind);
    using Kind = AccessibleSelection::Kind;
    if (found.kind == Kind::Secret)
        return found;
    if (states.has(AtSpiState::Editable))
        return acrossParagraphs(query, object, std::move(found));
    if (document.isNull())
        return found;
    // Something on a page may have the focus, a link say, while the selection is in the page around it.
    if (found.kind != Kind::Text && document != object)
        found = selectionOf(query, document);
    found.page = true;
    found.focus = found.kind == Kind::Unavailable ? FocusKind::Unknown : FocusKind::ReadOnly;
    return found;
}

} // namespace

AtSpiAccessibility::AtSpiAccessibility(Dispatch& use, Front frontOf, const QString& sessionAddress,
                                       std::chrono::milliseconds deadline)
    : dispatch(use)
    , limit(deadline)
    , bus(std::make_shared<AtSpiBus>(sessionAddress))
    , front(std::move(frontOf))
    , follower(following(
          new AtSpiFocusFollower([known = bus] { return known->address(QDeadlineTimer(CONNECT_LIMIT)); }, records)))
    , followerThread(follower) {}

AtSpiAccessibility::~AtSpiAccessibility() = default;

void AtSpiAccessibility::keyboardIsTaken() {
    taken = std::chrono::steady_clock::now();
    following(follower); // the bus may have come, or come back
}

AtSpiAccessibility::Focus AtSpiAccessibility::recorded(const AtSpiQuery& query, const QString& service,
                                                       const QList<AtSpiRef>& windows) const {
    const AtSpiRef object = focusedOf(records->of(service, taken));
    const AtSpiPlace place = placeOf(query, object);
    return windows.contains(place.window) ? Focus{object, place} : Focus{};
}

AtSpiAccessibility::Spot AtSpiAccessibility::read(qint32 pid, const QString& title) {
    const auto query = bus->open(QDeadlineTimer(limit));
    const auto application = query ? query->application(pid) : std::nullopt;
    if (!application)
        return {};
    const QList<AtSpiRef> windows = windowsTitled(*query, *application, title);
    Focus focus = recorded(*query, application->service, windows);
    if (focus.object.isNull()) {
        const AtSpiRef object = focusedObject(*query, *application, windows);
        focus = {object, placeOf(*query, object)};
    }
    if (focus.object.isNull()) // its loss may have become known meanwhile
        focus = recorded(*query, application->service, windows);
    if (focus.object.isNull())
        return {};
    return {selectionAt(*query, focus.object, focus.place.document), focus.object};
}

AtSpiAccessibility::Spot AtSpiAccessibility::spot(const AppWindow& at) {
    if (at.pid < 1)
        return {};
    const FrontTitle now = front(at);
    Spot found = read(at.pid, now.title);
    found.selection.window = now.window;
    return found;
}

void AtSpiAccessibility::withSession(std::function<void(const QDBusConnection&)> then) {
    dispatch.inBackground(
        Queue::Utility, &context, [bus = bus] { return bus->session(QDeadlineTimer(CONNECT_LIMIT)); },
        [then = std::move(then)](const std::optional<QDBusConnection>& session) {
            if (session)
                then(*session);
            else
                logOnce(u"no-session-bus"_s, u"Ovalin: no session bus — applications' selections cannot be read"_s);
        });
}

void AtSpiAccessibility::queryEnabled(std::function<void(bool)> answer) {
    withSession([this, answer = std::move(answer)](const QDBusConnection& session) {
        auto* watcher = new QDBusPendingCallWatcher(session.asyncCall(statusCall("Get"), STATUS_LIMIT_MS), &context);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context, [watcher, answer] {
            watcher->deleteLater();
            const QDBusPendingReply<QDBusVariant> reply = *watcher;
            if (reply.isValid())
                answer(reply.value().variant().toBool());
        });
    });
}

void AtSpiAccessibility::enable() {
    withSession([](const QDBusConnection& session) {
        session.asyncCall(statusCall("Set", {QVariant::fromValue(QDBusVariant(true))}), STATUS_LIMIT_MS);
    });
}

} // namespace ovalin
