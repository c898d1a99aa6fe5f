#include "AtSpiAccessibility.h"

#include "AtSpiFocus.h"
#include "AtSpiText.h"
#include "base/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QMutexLocker>

#include <utility>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto CONNECT_LIMIT = 1s;
constexpr int STATUS_LIMIT_MS = 5000; // the answer may have to wait until the service is started

QDBusMessage statusCall(const char* method, const QVariantList& more = {}) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.freedesktop.DBus.Properties"), QString::fromLatin1(method));
    message.setArguments(QVariantList{QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")} + more);
    return message;
}

} // namespace

AtSpiAccessibility::AtSpiAccessibility(Dispatch& use, const QString& sessionAddress, std::chrono::milliseconds deadline)
    : dispatch(use)
    , limit(deadline)
    , bus(std::make_shared<AtSpiBus>(sessionAddress)) {}

AtSpiAccessibility::~AtSpiAccessibility() = default;

AtSpiRef AtSpiAccessibility::focusedOrRemembered(const AtSpiQuery& query, const AtSpiRef& application) {
    const AtSpiFocus focus = focusedObject(query, application);
    const QMutexLocker lock(&mutex);
    if (!focus.object.isNull())
        return remembered = focus.object;
    // GTK and Qt forget the focused object while another window has the X focus; its selection stays.
    if (!focus.windowActive && remembered.service == application.service)
        return remembered;
    return {};
}

AccessibleSelection AtSpiAccessibility::selection(const AppWindow& at) {
    const qint32 pid = at.pid;
    const QDeadlineTimer deadline(limit);
    if (pid < 1)
        return {};
    const auto query = bus->open(deadline);
    if (!query)
        return {};
    const auto application = query->application(pid);
    if (!application)
        return {};
    const AtSpiRef object = focusedOrRemembered(*query, *application);
    if (object.isNull())
        return {};
    if (query->states(object).has(AtSpiState::Editable))
        return selectionOf(*query, object);
    // Something on a page may have the focus, a link say, while the selection is in the page around it.
    const AtSpiRef document = enclosingDocument(*query, object);
    AccessibleSelection found = selectionOf(*query, object);
    using Kind = AccessibleSelection::Kind;
    if (document.isNull() || found.kind == Kind::Secret)
        return found;
    if (found.kind != Kind::Text && document != object)
        found = selectionOf(*query, document);
    found.page = true;
    return found;
}

void AtSpiAccessibility::withSession(std::function<void(const QDBusConnection&)> then) {
    dispatch.inBackground(
        Queue::Utility, &context, [bus = bus] { return bus->session(QDeadlineTimer(CONNECT_LIMIT)); },
        [then = std::move(then)](const std::optional<QDBusConnection>& session) {
            if (session)
                then(*session);
            else
                logOnce(QStringLiteral("no-session-bus"),
                        QStringLiteral("Ovalin: no session bus — applications' selections cannot be read"));
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
