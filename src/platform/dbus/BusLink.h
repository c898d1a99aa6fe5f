#pragma once

#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QMutex>
#include <QString>

#include <functional>
#include <optional>

namespace ovalin {

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
