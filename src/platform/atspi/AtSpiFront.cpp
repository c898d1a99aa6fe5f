#include "AtSpiFront.h"

#include <QDBusPendingCallWatcher>

#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int ASK_MS = 1000;

const auto REGISTRY = u"org.a11y.atspi.Registry"_s;
const auto DAEMON = u"org.freedesktop.DBus"_s;
const auto SHELL = u"gnome-shell"_s; // its panels are no application's

} // namespace

AtSpiFront::AtSpiFront(std::function<QString()> theAddress, Told toTell)
    : address(std::move(theAddress))
    , told(std::move(toTell)) {}

void AtSpiFront::follow() {
    if (bus && bus->isConnected())
        return;
    lost();
    bus.reset();
    const QString found = address();
    if (found.isEmpty())
        return;
    bus.emplace(found);
    if (!bus->isConnected()) {
        bus.reset();
        return;
    }
    (*bus)->connect(DAEMON, u"/org/freedesktop/DBus"_s, DAEMON, u"NameOwnerChanged"_s, this,
                    SLOT(ownerChanged(QString, QString, QString)));
    // Not the events of windows: toolkits spell those in two ways.
    (*bus)->connect(QString(), QString(), u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s, {u"active"_s}, QString(),
                    this, SLOT(stateChanged(QDBusMessage)));
    listen();
    lookAround();
}

void AtSpiFront::listen() {
    auto message =
        QDBusMessage::createMethodCall(REGISTRY, u"/org/a11y/atspi/registry"_s, REGISTRY, u"RegisterEvent"_s);
    message.setArguments({u"object:state-changed:active"_s, QStringList(), QString()});
    (*bus)->asyncCall(message, ASK_MS);
}

// Several may say that they are active, or go on saying so: then none is believed.
void AtSpiFront::lookAround() {
    const AtSpiQuery query(**bus, QDeadlineTimer(ASK_MS));
    std::vector<std::pair<AtSpiRef, QDBusPendingCall>> asked;
    for (const auto& application : query.applications()) {
        for (const AtSpiRef& window : query.children(application.root))
            asked.emplace_back(window, query.beginStates(window));
    }
    QList<AtSpiRef> active;
    for (const auto& [window, states] : asked) {
        if (query.states(states).has(AtSpiState::Active))
            active.append(window);
    }
    if (active.size() == 1 && latest.isNull())
        became(active.constFirst());
}

void AtSpiFront::ownerChanged(const QString& name, const QString&, const QString& newOwner) {
    if (name == REGISTRY && !newOwner.isEmpty())
        listen(); // one that is started anew knows nobody who listens
    if (name == latest.service && newOwner.isEmpty())
        lost();
}

void AtSpiFront::stateChanged(const QDBusMessage& message) {
    const AtSpiRef window{message.service(), message.path()};
    const QVariant state = message.arguments().value(1);
    if (state.metaType() != QMetaType::fromType<int>())
        return;
    if (state.toInt() != 0)
        became(window);
    else if (window == latest)
        lost();
}

void AtSpiFront::became(const AtSpiRef& window) {
    if (window != latest)
        lost();
    latest = window;
    const AtSpiQuery query(**bus, QDeadlineTimer(ASK_MS));
    const AtSpiRef root{window.service, u"/org/a11y/atspi/accessible/root"_s};
    const AtSpiRef daemon{DAEMON, u"/org/freedesktop/DBus"_s};
    const QDBusPendingCall role = query.beginRole(window), title = query.beginName(window),
                           application = query.beginName(root),
                           pid = query.begin(daemon, "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                             {window.service});
    auto* const watcher = new QDBusPendingCallWatcher(query.beginStates(window), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [=, this] {
        watcher->deleteLater();
        if (window != latest || !query.states(*watcher).has(AtSpiState::Active))
            return;
        const uint kind = query.role(role);
        if (kind == 0)
            return;
        const AtSpiWindow found{window, static_cast<qint32>(query.role(pid)), query.name(application),
                                query.name(title)};
        if (found.pid > 0 && found.application != SHELL)
            told(found);
    });
}

void AtSpiFront::lost() {
    if (!std::exchange(latest, {}).isNull())
        told({});
}

} // namespace ovalin
