#pragma once

#include "Bus.h"

#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

namespace ovalin {

/// The side of FreedesktopNotifier that talks to the bus; lives on a bus thread. Its caller names each notification by
/// a ticket of its own.
class NotificationClient final : public QObject {
    Q_OBJECT

public:
    explicit NotificationClient(const QString& busAddress)
        : address(busAddress) {}

    /// Ends in `shown` or `failed`; each call to the service has two seconds.
    void show(quint64 ticket, const QString& title, const QString& body, const QStringList& buttons);

Q_SIGNALS:
    void shown(quint64 ticket);
    void failed(quint64 ticket);
    void pressed(quint64 ticket, qsizetype button);
    void closed(quint64 ticket);

private Q_SLOTS:
    void actionInvoked(const QDBusMessage& message);
    void notificationClosed(const QDBusMessage& message);

private:
    /// Ids begin anew when the service restarts, so they are told apart by its name on the bus.
    struct Shown {
        QString service;
        uint id;
        bool operator==(const Shown&) const = default;
        friend size_t qHash(const Shown& shown, size_t seed) { return qHashMulti(seed, shown.service, shown.id); }
    };

    bool connected();
    void call(const QDBusMessage& message, std::function<void(const QDBusMessage& reply)> done);
    void send(quint64 ticket, const QString& title, const QString& body, const QStringList& buttons);
    /// What an earlier service showed went with it.
    void forgetAllBut(const QString& service);

    QString address;
    std::optional<BusConnection> bus;
    QHash<Shown, quint64> tickets; // of notifications with a button that may still be pressed
};

} // namespace ovalin
