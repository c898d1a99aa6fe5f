#include "LoginManagerClient.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTimer>

namespace ovalin {

namespace {

constexpr int CALL_MS = 1000;

const auto SERVICE = QStringLiteral("org.freedesktop.login1");
const auto MANAGER_PATH = QStringLiteral("/org/freedesktop/login1");
const auto MANAGER = QStringLiteral("org.freedesktop.login1.Manager");
const auto SESSION = QStringLiteral("org.freedesktop.login1.Session");

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
    (*bus)->connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                    QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                    SLOT(busGone()));
    // From this service only: anybody may send on the system bus.
    (*bus)->connect(SERVICE, MANAGER_PATH, MANAGER, QStringLiteral("PrepareForSleep"), this,
                    SLOT(prepareForSleep(bool)));
    watcher.emplace(SERVICE, **bus, QDBusServiceWatcher::WatchForRegistration);
    connect(&*watcher, &QDBusServiceWatcher::serviceRegistered, this, &LoginManagerClient::followSession);
    followSession();
}

void LoginManagerClient::followSession() {
    const QString path = sessionPath();
    if (path.isEmpty() || path == followed)
        return;
    const auto signal = QStringLiteral("Lock");
    if (!followed.isEmpty())
        (*bus)->disconnect(SERVICE, followed, SESSION, signal, this, SLOT(lock()));
    (*bus)->connect(SERVICE, path, SESSION, signal, this, SLOT(lock()));
    followed = path;
}

// A program that a systemd user manager started belongs to no session, and the environment may lack the id; the
// manager then still knows the user's display session under the name "auto", but signals come from its real path.
QString LoginManagerClient::sessionPath() {
    const auto pathIn = [](const std::optional<QVariant>& reply) {
        return reply ? reply->value<QDBusObjectPath>().path() : QString();
    };
    const auto pid = static_cast<uint>(QCoreApplication::applicationPid());
    const QString byProcess = pathIn(ask(MANAGER_PATH, MANAGER, QStringLiteral("GetSessionByPID"), {pid}));
    if (!byProcess.isEmpty())
        return byProcess;

    const auto byId = [&](const QString& id) {
        return pathIn(ask(MANAGER_PATH, MANAGER, QStringLiteral("GetSession"), {id}));
    };
    const QString given = sessionId.isEmpty() ? QString() : byId(sessionId);
    if (!given.isEmpty())
        return given;

    const auto id =
        ask(MANAGER_PATH + QStringLiteral("/session/auto"), QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"), {SESSION, QStringLiteral("Id")});
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
    if (!begins)
        Q_EMIT woke();
}

} // namespace ovalin
