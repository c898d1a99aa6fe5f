#pragma once

#include "BusAddress.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QThread>

namespace ovalin {

/// A connection of our own to a message bus, let go with this object; not connected when the bus is missing or hangs.
/// Connecting, subscribing and letting go wait for the bus: never on the main thread.
class BusConnection {
public:
    explicit BusConnection(const QString& address);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    [[nodiscard]] bool isConnected() const { return connection.isConnected(); }
    [[nodiscard]] QDBusConnection& operator*() { return connection; }
    [[nodiscard]] QDBusConnection* operator->() { return &connection; }

private:
    QString name;
    QDBusConnection connection;
};

/// A thread for one object that talks on a bus and may wait for it. When this goes the object does what it was asked
/// for and is destroyed there, or is left behind when it still waits two seconds later.
class BusThread {
public:
    explicit BusThread(QObject* resident);
    ~BusThread();
    BusThread(const BusThread&) = delete;
    BusThread& operator=(const BusThread&) = delete;

private:
    QObject* const resident;
    QThread* thread; // owned, unless it hangs at the end
};

} // namespace ovalin
