#pragma once

#include "Bus.h"

#include <QDBusMessage>
#include <QHash>
#include <QList>
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
    static constexpr qsizetype CLICK = -1;

    explicit NotificationClient(const QString& busAddress)
        : address(busAddress) {}

    struct Request {
        quint64 ticket = 0;
        QString title, body;
        QStringList buttons;
        bool clickable = false; ///< the text itself
    };

    /// What was shown last, for one that says the same to take its place.
    struct Said {
        QString service;                     ///< whose ids these are
        QList<std::pair<QString, uint>> ids; ///< by a digest of the text, the latest last
    };
    [[nodiscard]] const Said& said() const { return known; }
    /// What another client has shown.
    void setSaid(const Said& said) { known = said; }

    /// Ends in `shown` or `failed`; each call to the service has two seconds.
    void show(const Request& request);
    /// Takes one with something to press away, as soon as it is there.
    void withdraw(quint64 ticket);

Q_SIGNALS:
    void shown(quint64 ticket);
    void failed(quint64 ticket);
    /// `button`: CLICK for a click on the text.
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
    void fail(quint64 ticket);
    void call(const QDBusMessage& message, std::function<void(const QDBusMessage& reply)> done);
    void send(const Request& request, const QString& body);
    [[nodiscard]] uint saidBefore(const Request& request) const;
    void remember(const QString& text, uint id);
    /// What an earlier service showed went with it.
    void forgetAllBut(const QString& service);

    QString address;
    std::optional<BusConnection> bus;
    QHash<Shown, quint64> tickets; // of notifications with something that may still be pressed
    QHash<quint64, bool> underway; // to the service; false: to be taken away when it is there
    Said known;
};

} // namespace ovalin
