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

using namespace Qt::StringLiterals;

namespace ovalin {

TestDesk& desk();

/// A message bus of one test, which can hang and come back.
class TestBus {
public:
    TestBus() { start(); }
    ~TestBus() { end(); }
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    const QString socket = desk().path(u"test-bus"_s);
    const QString address = u"unix:path="_s + socket;

    void start() {
        // Without the services of this machine, of which one may be started when it is asked for.
        const QString config = desk().path(u"test-bus.conf"_s);
        writeFile(config, "<busconfig><type>session</type><listen>" + address.toUtf8() +
                              "</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
                              "<allow eavesdrop='true'/><allow own='*'/><allow user='*'/></policy></busconfig>");
        daemon = &desk().start(u"dbus-daemon"_s, {u"--nofork"_s, u"--config-file="_s + config});
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
        : connectionName(u"test-"_s + QString::number(++count))
        , bus(QDBusConnection::connectToBus(address, connectionName))
        , service(owned) {
        desk().environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, address);
        desk().environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, address);
        process = &desk().start(QCoreApplication::applicationDirPath() + u"/fake_desktop_services"_s, arguments);
        if (!waitUntil([this] { return bus.interface()->isServiceRegistered(service).value(); }))
            throw std::runtime_error(desk().log(u"fake_desktop_services"_s).toStdString());
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
