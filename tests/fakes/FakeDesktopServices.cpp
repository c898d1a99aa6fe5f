// Stand-ins for two services of the desktop, as a program of their own.
//
//   --notifications FILE     owns org.freedesktop.Notifications on the session bus and writes each notification to FILE
//                            as one line of JSON: id, app, icon, title, body, actions, hints, timeout
//     --capabilities A,B     what it says it can do (default: body,body-markup,actions)
//     --press-actions        presses the first button of each notification, and closes it
//     --silent               owns the name and never answers
//   --login1 LOOKUP          owns org.freedesktop.login1 on the system bus with one session, "7"; LOOKUP says how it
//   can
//                            be found: pid, id, auto, or silent for a manager that never answers
//
// Further methods for tests: Press(id), Dismiss(id) beside Notify; Sleep(begins) and SetIdleHint(idle) beside
// LockSession.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const auto SESSION_PATH = u"/org/freedesktop/login1/session/_37"_s;

class Notifications : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QString file;
    QStringList capabilities;
    bool pressActions = false;
    bool silent = false;

public Q_SLOTS:
    QStringList GetCapabilities() { return answers() ? capabilities : QStringList(); }
    QString GetServerInformation(QString& vendor, QString& version, QString& specification) {
        vendor = version = u"1"_s;
        specification = u"1.2"_s;
        return u"fake"_s;
    }
    uint Notify(const QString& app, uint replaces, const QString& icon, const QString& title, const QString& body,
                const QStringList& actions, const QVariantMap& hints, int timeout) {
        if (!answers())
            return 0;
        const uint id = replaces != 0 ? replaces : ++lastId;
        buttons[id] = actions.value(0);
        log({{u"id"_s, qint64(id)},
             {u"app"_s, app},
             {u"icon"_s, icon},
             {u"title"_s, title},
             {u"body"_s, body},
             {u"actions"_s, QJsonArray::fromStringList(actions)},
             {u"hints"_s, QJsonObject::fromVariantMap(hints)},
             {u"timeout"_s, timeout}});
        if (pressActions && !actions.isEmpty())
            QTimer::singleShot(50, this, [this, id] { Press(id); });
        return id;
    }
    void CloseNotification(uint id) { Q_EMIT NotificationClosed(id, 3); }
    void Press(uint id) {
        Q_EMIT ActionInvoked(id, buttons.value(id));
        Q_EMIT NotificationClosed(id, 2);
    }
    void Dismiss(uint id) { Q_EMIT NotificationClosed(id, 2); }

Q_SIGNALS:
    void ActionInvoked(uint id, const QString& action);
    void NotificationClosed(uint id, uint reason);

private:
    bool answers() {
        if (silent)
            setDelayedReply(true);
        return !silent;
    }
    void log(const QJsonObject& line) {
        QFile out(file);
        if (out.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
            out.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    }

    uint lastId = 0;
    QHash<uint, QString> buttons;
};

class Session : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Session")
    Q_PROPERTY(QString Id READ id CONSTANT)

public:
    [[nodiscard]] QString id() const { return u"7"_s; }

Q_SIGNALS:
    void Lock();
};

class LoginManager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    QString lookup;
    Session session;
    Session alias; // "auto": has the session's properties, but never its signals

public Q_SLOTS:
    QDBusObjectPath GetSessionByPID(uint) { return answer(lookup == u"pid", u"NoSessionForPID"_s); }
    QDBusObjectPath GetSession(const QString& id) {
        return answer(id == session.id() && lookup != u"pid", u"NoSuchSession"_s);
    }
    void LockSession(const QString& id) {
        if (id == session.id())
            Q_EMIT session.Lock();
    }
    void Sleep(bool begins) { Q_EMIT PrepareForSleep(begins); }
    void SetIdleHint(bool idle) {
        QDBusMessage changed =
            QDBusMessage::createSignal(SESSION_PATH, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
        changed << u"org.freedesktop.login1.Session"_s << QVariantMap{{u"IdleHint"_s, idle}} << QStringList();
        connection().send(changed);
    }

Q_SIGNALS:
    void PrepareForSleep(bool begins);

private:
    QDBusObjectPath answer(bool known, const QString& error) {
        if (lookup == u"silent")
            setDelayedReply(true);
        else if (!known)
            sendErrorReply(u"org.freedesktop.login1."_s + error, u"unknown here"_s);
        return QDBusObjectPath(SESSION_PATH);
    }
};

constexpr auto EXPORTS =
    QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals | QDBusConnection::ExportAllProperties;

bool serve(Notifications& notifications) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.registerObject(u"/org/freedesktop/Notifications"_s, &notifications, EXPORTS) &&
           bus.registerService(u"org.freedesktop.Notifications"_s);
}

bool serve(LoginManager& manager) {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (manager.lookup == u"auto")
        bus.registerObject(u"/org/freedesktop/login1/session/auto"_s, &manager.alias, EXPORTS);
    return bus.registerObject(SESSION_PATH, &manager.session, EXPORTS) &&
           bus.registerObject(u"/org/freedesktop/login1"_s, &manager, EXPORTS) &&
           bus.registerService(u"org.freedesktop.login1"_s);
}

QString lastError(const QDBusConnection& bus) { return bus.lastError().message(); }

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.addOptions({{u"notifications"_s, {}, u"file"_s},
                        {u"capabilities"_s, {}, u"list"_s, u"body,body-markup,actions"_s},
                        {u"press-actions"_s, {}},
                        {u"silent"_s, {}},
                        {u"login1"_s, {}, u"lookup"_s}});
    options.process(application);

    Notifications notifications;
    notifications.file = options.value(u"notifications"_s);
    notifications.capabilities = options.value(u"capabilities"_s).split(u',');
    notifications.pressActions = options.isSet(u"press-actions"_s);
    notifications.silent = options.isSet(u"silent"_s);
    LoginManager manager;
    manager.lookup = options.value(u"login1"_s);
    if (options.isSet(u"notifications"_s) && !serve(notifications))
        qFatal("no session bus, or another service has the name: %s",
               qPrintable(lastError(QDBusConnection::sessionBus())));
    if (options.isSet(u"login1"_s) && !serve(manager))
        qFatal("no system bus, or another service has the name: %s",
               qPrintable(lastError(QDBusConnection::systemBus())));
    return QCoreApplication::exec();
}

#include "FakeDesktopServices.moc"
