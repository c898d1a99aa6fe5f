#pragma once

#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QMutex>
#include <QString>

#include <functional>
#include <optional>

namespace ovalin {

/// The address of the session bus: what the environment says, else the socket in the runtime folder; empty when there
/// is neither. Never starts a bus, as libdbus would by itself.
[[nodiscard]] QString sessionBusAddress();

/// Whether the message bus at `address` (D-Bus specification, "Server Addresses"; unix sockets only) answers at all
/// before the deadline. Any thread but the main one.
[[nodiscard]] bool busAnswers(const QString& address, QDeadlineTimer deadline);

/// A D-Bus connection of its own, made when it is first asked for, kept, and made anew when it broke. Any thread but
/// the main one; what it returns may be used on every thread.
class BusLink {
public:
    explicit BusLink(const QString& name); ///< for people; made unique
    ~BusLink();
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    /// The connection, absent when there is none by the deadline. `address` is asked for only when one must be made.
    [[nodiscard]] std::optional<QDBusConnection> connection(const std::function<QString()>& address,
                                                            QDeadlineTimer deadline);

private:
    QMutex mutex; // held while connecting; waiting for it counts towards the deadline
    QString name;
    std::optional<QDBusConnection> current;
};

} // namespace ovalin
