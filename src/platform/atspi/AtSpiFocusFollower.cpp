#include "AtSpiFocusFollower.h"

#include <QDBusPendingCallWatcher>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

// A user moves the focus some ten times a second at most, by holding Tab.
constexpr int FLOOD = 100; // events in a second
constexpr int ASK_MS = 1000;

const auto REGISTRY = u"org.a11y.atspi.Registry"_s;
const auto STATE_CHANGES = u"object:state-changed:focused"_s;

} // namespace

AtSpiFocusFollower::AtSpiFocusFollower(std::function<QString()> theAddress,
                                       std::shared_ptr<AtSpiFocusRecords> theRecords)
    : address(std::move(theAddress))
    , records(std::move(theRecords)) {
    again.setSingleShot(true);
    again.setInterval(1s);
    connect(&again, &QTimer::timeout, this, [this] { listen(true); });
}

void AtSpiFocusFollower::follow() {
    if (bus && bus->isConnected())
        return;
    listening = false;
    asking.clear();
    records->forgetAll();
    bus.reset();
    const QString found = address();
    if (found.isEmpty())
        return;
    bus.emplace(found);
    if (!bus->isConnected()) {
        bus.reset();
        return;
    }
    // A registry that is started anew knows nobody who listens.
    (*bus)->connect(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s,
                    u"NameOwnerChanged"_s, {REGISTRY}, u"sss"_s, this,
                    SLOT(registryChanged(QString, QString, QString)));
    listen(true);
}

void AtSpiFocusFollower::registryChanged(const QString&, const QString&, const QString& newOwner) {
    if (!newOwner.isEmpty() && listening)
        askForEvents(true);
}

void AtSpiFocusFollower::listen(bool on) {
    if (!bus || !bus->isConnected() || listening == on)
        return;
    listening = on;
    // Toolkits send the rest of the event in two forms; the message is taken as it is.
    const auto hook = on ? qOverload<const QString&, const QString&, const QString&, const QString&, const QStringList&,
                                     const QString&, QObject*, const char*>(&QDBusConnection::connect)
                         : qOverload<const QString&, const QString&, const QString&, const QString&, const QStringList&,
                                     const QString&, QObject*, const char*>(&QDBusConnection::disconnect);
    ((**bus).*hook)(QString(), QString(), u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s, {u"focused"_s},
                    QString(), this, SLOT(stateChanged(QDBusMessage)));
    askForEvents(on);
    second = std::chrono::steady_clock::now();
    heard = 0;
}

void AtSpiFocusFollower::askForEvents(bool on) {
    QDBusMessage message = QDBusMessage::createMethodCall(REGISTRY, u"/org/a11y/atspi/registry"_s, REGISTRY,
                                                          on ? u"RegisterEvent"_s : u"DeregisterEvent"_s);
    message.setArguments(on ? QVariantList{STATE_CHANGES, QStringList(), QString()} : QVariantList{STATE_CHANGES});
    (*bus)->asyncCall(message, ASK_MS);
}

bool AtSpiFocusFollower::floods() {
    const auto now = std::chrono::steady_clock::now();
    if (now - second > 1s) {
        second = now;
        heard = 0;
    }
    return ++heard > FLOOD;
}

void AtSpiFocusFollower::stateChanged(const QDBusMessage& message) {
    if (!listening)
        return; // sent before the flood was let go of
    if (floods()) {
        // What is missed now may have moved the focus.
        listen(false);
        records->forgetAll();
        again.start();
        return;
    }
    const AtSpiRef object{message.service(), message.path()};
    const QVariant state = message.arguments().value(1);
    if (state.metaType() != QMetaType::fromType<int>())
        return;
    if (state.toInt() != 0)
        records->gained(object, std::chrono::steady_clock::now());
    else
        records->lost(object, std::chrono::steady_clock::now());
    identify(object.service);
}

void AtSpiFocusFollower::identify(const QString& service) {
    const auto object = records->unidentified(service);
    if (!object || !bus || !asking.insert(service).second)
        return;
    const AtSpiQuery query(**bus, QDeadlineTimer(ASK_MS));
    const QDBusPendingCall role = query.beginRole(*object);
    auto* const watcher = new QDBusPendingCallWatcher(query.beginInterfaces(*object), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, role, query, object = *object] {
        watcher->deleteLater();
        asking.erase(object.service);
        if (const uint known = query.role(role)) // it was asked first, and has answered first
            records->identified(object, known, query.hasText(*watcher));
        const auto next = records->unidentified(object.service);
        if (next && *next != object)
            identify(object.service);
    });
}

} // namespace ovalin
