#pragma once

#include "platform/dbus/BusAddress.h"
#include "support/TestDesk.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>

namespace ovalin {

/// A message bus of one test, which can hang and come back.
class TestBus {
public:
    TestBus() { start(); }
    ~TestBus() { end(); }
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    void start() {
        // Without the services of this machine, of which one may be started when it is asked for.
        const QString config = socket + u".conf"_s;
        writeFile(config, "<busconfig><type>session</type><listen>" + address.toUtf8() +
                              "</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
                              "<allow eavesdrop='true'/><allow own='*'/><allow user='*'/></policy></busconfig>");
        daemon = &desk().start(u"dbus-daemon"_s, {u"--nofork"_s, u"--config-file="_s + config});
        if (!waitUntil([this] { return busAnswers(address); })) // its socket is there a little earlier
            throw std::runtime_error("the bus did not start");
    }
    void end() {
        desk().end(*daemon);
        QFile::remove(socket);
    }
    [[nodiscard]] Stopped hang() const { return Stopped(*daemon); }

private:
    inline static int count = 0;
    const QString socket = desk().path(u"test-bus-%1"_s.arg(++count));
    QProcess* daemon = nullptr;

public:
    const QString address = u"unix:path="_s + socket;
};

/// A service on a bus, served by the test's main thread.
class BusService : public QDBusVirtualObject {
public:
    BusService(const QString& address, const QString& name)
        : bus(QDBusConnection::connectToBus(address, u"service-%1"_s.arg(++count))) {
        bus.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
        if (!bus.registerService(name))
            throw std::runtime_error("another service has the name " + name.toStdString());
    }
    ~BusService() override { QDBusConnection::disconnectFromBus(bus.name()); }
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    bool silent = false; ///< has the name, and never answers

    void tell(const QString& path, const QString& interface, const char* signal, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createSignal(path, interface, QString::fromLatin1(signal));
        message.setArguments(arguments);
        bus.send(message);
        (void)bus.interface()->isServiceRegistered(u"x.y"_s); // the bus has it when this returns
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (silent)
            return true;
        const auto reply = answer(message);
        connection.send(reply ? message.createReply(*reply)
                              : message.createErrorReply(QDBusError::UnknownMethod, message.member()));
        return true;
    }

protected:
    virtual std::optional<QVariantList> answer(const QDBusMessage& message) = 0;

private:
    inline static int count = 0;
    QDBusConnection bus;
};

/// Keeps the notifications that it is to show. The first has the id 1.
class FakeNotifications final : public BusService {
public:
    struct Shown {
        QString title, body;
        QStringList actions;
        QVariantMap hints;
        uint id = 0; ///< that of an earlier one, when it takes its place
    };
    explicit FakeNotifications(const QString& address)
        : BusService(address, NAME) {}

    QStringList capabilities{u"body"_s, u"body-markup"_s, u"actions"_s};
    std::vector<Shown> shown;
    std::vector<uint> closed; ///< at the program's wish

    bool waitFor(size_t count) {
        return waitUntil([&] { return shown.size() >= count; });
    }
    void press(uint id, const QString& action = u"button0"_s) { tell(PATH, NAME, "ActionInvoked", {id, action}); }
    void dismiss(uint id) { tell(PATH, NAME, "NotificationClosed", {id, 2U}); }

private:
    std::optional<QVariantList> answer(const QDBusMessage& message) override {
        const QVariantList given = message.arguments();
        if (message.member() == "GetCapabilities"_L1)
            return QVariantList{capabilities};
        if (message.member() == "CloseNotification"_L1) {
            closed.push_back(given.value(0).toUInt());
            return QVariantList{};
        }
        if (message.member() != "Notify"_L1)
            return {};
        const uint replaces = given.value(1).toUInt();
        shown.push_back({given.value(3).toString(), given.value(4).toString(), given.value(5).toStringList(),
                         qdbus_cast<QVariantMap>(given.value(6)),
                         replaces > 0 ? replaces : static_cast<uint>(shown.size() + 1)});
        return QVariantList{shown.back().id};
    }
    inline static const QString NAME = u"org.freedesktop.Notifications"_s, PATH = u"/org/freedesktop/Notifications"_s;
};

/// Knows one session, "7".
class FakeLoginManager final : public BusService {
public:
    /// How it can be found.
    enum class Lookup { ByProcess, ById, ByAuto };
    FakeLoginManager(const QString& address, Lookup how)
        : BusService(address, u"org.freedesktop.login1"_s)
        , lookup(how) {}

    void sleep(bool begins) { tell(PATH, PATH_INTERFACE, "PrepareForSleep", {begins}); }
    void lock() { tell(SESSION_PATH, SESSION, "Lock", {}); }
    void idle(bool is) {
        tell(SESSION_PATH, u"org.freedesktop.DBus.Properties"_s, "PropertiesChanged",
             {SESSION, QVariantMap{{u"IdleHint"_s, is}}, QStringList()});
    }
    inline static const QString PATH = u"/org/freedesktop/login1"_s,
                                PATH_INTERFACE = u"org.freedesktop.login1.Manager"_s;

private:
    std::optional<QVariantList> answer(const QDBusMessage& message) override {
        const QString method = message.member(), asked = message.arguments().value(0).toString();
        const bool byProcess = lookup == Lookup::ByProcess;
        if ((method == "GetSessionByPID"_L1 && byProcess) || (method == "GetSession"_L1 && asked == u"7" && !byProcess))
            return QVariantList{QVariant::fromValue(QDBusObjectPath(SESSION_PATH))};
        if (method == "Get"_L1 && message.path().endsWith("/auto"_L1) && lookup == Lookup::ByAuto)
            return QVariantList{QVariant::fromValue(QDBusVariant(u"7"_s))};
        return {};
    }
    inline static const QString SESSION_PATH = PATH + u"/session/_37"_s, SESSION = u"org.freedesktop.login1.Session"_s;
    const Lookup lookup;
};

} // namespace ovalin
