#include "LoginManagerClient.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTimer>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int CALL_MS = 1000;

const auto SERVICE = u"org.freedesktop.login1"_s;
const auto MANAGER_PATH = u"/org/freedesktop/login1"_s;
const auto MANAGER = u"org.freedesktop.login1.Manager"_s;
const auto SESSION = u"org.freedesktop.login1.Session"_s;
const auto PROPERTIES = u"org.freedesktop.DBus.Properties"_s;

} // namespace

void LoginManagerClient::start() {
    if (address.isEmpty())
        return;
    followed.clear();
    watcher.reset();
    bus.emplace(address);
    if (!bus->isConnected()) {
        QTimer::singleShot(retryDelay, this, &LoginManagerClient::start);
        return;
    }
    (*bus)->connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s,
                    this, SLOT(busGone()));
    // From this service only: anybody may send on the system bus.
    (*bus)->connect(SERVICE, MANAGER_PATH, MANAGER, u"PrepareForSleep"_s, this, SLOT(prepareForSleep(bool)));
    watcher.emplace(SERVICE, **bus, QDBusServiceWatcher::WatchForRegistration);
    connect(&*watcher, &QDBusServiceWatcher::serviceRegistered, this, &LoginManagerClient::followSession);
    followSession();
}

void LoginManagerClient::followSession() {
    const QString path = sessionPath();
    if (path.isEmpty() || path == followed)
        return;
    if (!followed.isEmpty())
        listenTo(followed, false);
    listenTo(path, true);
    followed = path;
}

void LoginManagerClient::listenTo(const QString& path, bool listen) {
    const auto each = [&](const QString& interface, const char* signal, const char* slot) {
        const QString name = QString::fromLatin1(signal);
        if (listen)
            (*bus)->connect(SERVICE, path, interface, name, this, slot);
        else
            (*bus)->disconnect(SERVICE, path, interface, name, this, slot);
    };
    each(SESSION, "Lock", SLOT(lock()));
    each(PROPERTIES, "PropertiesChanged", SLOT(sessionChanged(QString, QVariantMap, QStringList)));
}

// A program that a systemd user manager started belongs to no session, and the environment may lack the id; the
// manager then still knows the user's display session under the name "auto", but signals come from its real path.
QString LoginManagerClient::sessionPath() {
    const auto pathIn = [](const std::optional<QVariant>& reply) {
        return reply ? reply->value<QDBusObjectPath>().path() : QString();
    };
    const auto pid = static_cast<uint>(QCoreApplication::applicationPid());
    const QString byProcess = pathIn(ask(MANAGER_PATH, MANAGER, u"GetSessionByPID"_s, {pid}));
    if (!byProcess.isEmpty())
        return byProcess;

    const auto byId = [&](const QString& id) { return pathIn(ask(MANAGER_PATH, MANAGER, u"GetSession"_s, {id})); };
    const QString given = sessionId.isEmpty() ? QString() : byId(sessionId);
    if (!given.isEmpty())
        return given;

    const auto id = ask(MANAGER_PATH + u"/session/auto"_s, PROPERTIES, u"Get"_s, {SESSION, u"Id"_s});
    return id ? byId(id->value<QDBusVariant>().variant().toString()) : QString();
}

std::optional<QVariant> LoginManagerClient::ask(const QString& path, const QString& interface, const QString& method,
                                                const QVariantList& arguments) {
    if (QThread::currentThread()->isInterruptionRequested())
        return {};
    QDBusMessage message = QDBusMessage::createMethodCall(SERVICE, path, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    const QDBusMessage reply = (*bus)->call(message, QDBus::Block, CALL_MS);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst();
}

void LoginManagerClient::busGone() { QTimer::singleShot(retryDelay, this, &LoginManagerClient::start); }

void LoginManagerClient::prepareForSleep(bool begins) {
    if (begins)
        Q_EMIT locking();
    else
        Q_EMIT woke();
}

void LoginManagerClient::sessionChanged(const QString& interface, const QVariantMap& changed, const QStringList&) {
    if (interface == SESSION && changed.value(u"IdleHint"_s).toBool())
        Q_EMIT locking();
}

} // namespace ovalin
