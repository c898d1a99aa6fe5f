#pragma once

#include "platform/dbus/BusAddress.h"
#include "support/TestDesk.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>

#include <csignal>
#include <stdexcept>

namespace ovalin {

TestDesk& desk();

/// A message bus of one test, which can hang and come back.
class TestBus {
public:
    TestBus() { start(); }
    ~TestBus() { end(); }
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    const QString socket = desk().path(QStringLiteral("test-bus"));
    const QString address = QStringLiteral("unix:path=") + socket;

    void start() {
        // Without the services of this machine, of which one may be started when it is asked for.
        const QString config = desk().path(QStringLiteral("test-bus.conf"));
        writeFile(config, "<busconfig><type>session</type><listen>" + address.toUtf8() +
                              "</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
                              "<allow eavesdrop='true'/><allow own='*'/><allow user='*'/></policy></busconfig>");
        daemon = &desk().start(QStringLiteral("dbus-daemon"),
                               {QStringLiteral("--nofork"), QStringLiteral("--config-file=") + config});
        waitUntil([this] { return busAnswers(address); }); // its socket is there a little earlier
    }
    void end() {
        desk().end(*daemon);
        QFile::remove(socket);
    }
    void hang() const { ::kill(static_cast<pid_t>(daemon->processId()), SIGSTOP); }
    void recover() const { ::kill(static_cast<pid_t>(daemon->processId()), SIGCONT); }

private:
    QProcess* daemon = nullptr;
};

/// The fake services on one bus, and a connection to tell them what to do.
class FakeServices {
public:
    FakeServices(const QString& address, const QString& owned, const QStringList& arguments)
        : connectionName(QStringLiteral("test-") + QString::number(++count))
        , bus(QDBusConnection::connectToBus(address, connectionName))
        , service(owned) {
        desk().environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
        desk().environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
        process =
            &desk().start(QCoreApplication::applicationDirPath() + QStringLiteral("/fake_desktop_services"), arguments);
        if (!waitUntil([this] { return bus.interface()->isServiceRegistered(service).value(); }))
            throw std::runtime_error(desk().log(QStringLiteral("fake_desktop_services")).toStdString());
    }
    ~FakeServices() {
        desk().end(*process);
        QDBusConnection::disconnectFromBus(connectionName);
    }
    FakeServices(const FakeServices&) = delete;
    FakeServices& operator=(const FakeServices&) = delete;

    void send(const QDBusMessage& message) { bus.send(message); }
    void call(const QString& path, const QString& interface, const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        bus.call(message, QDBus::Block, 5000);
    }

private:
    inline static int count = 0;
    QString connectionName;
    QDBusConnection bus;
    QString service;
    QProcess* process = nullptr;
};

} // namespace ovalin
