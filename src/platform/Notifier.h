#pragma once

#include <QString>

#include <functional>

namespace ovalin {

struct Notification {
    QString title;
    QString body;
    QString actionLabel;            ///< empty: no button
    std::function<void()> onAction; ///< called on the main thread when the button is pressed
    QString secondLabel{};          ///< of one more button
    std::function<void()> onSecond{};
    std::function<void()> onClick{}; ///< on the text; for what does no harm, since a click there is no consent
};

/// Desktop notifications (org.freedesktop.Notifications). Main thread; never waits. Where nobody shows notifications
/// the text goes to the log, so that it is said at least once. One with a button stays until it is answered or closed,
/// or the program ends; one that says the same as an earlier one takes its place.
class Notifier {
public:
    virtual ~Notifier() = default;
    /// Returns what withdraw() takes.
    virtual quint64 notify(const Notification& notification) = 0;
    /// Takes one with a button or a click away again, if it is still there.
    virtual void withdraw(quint64 ticket) = 0;
};

/// What the login manager tells (org.freedesktop.login1). Called on the main thread; silent where there is no system
/// bus.
class SessionEvents {
public:
    virtual ~SessionEvents() = default;
    std::function<void()> didWake;  ///< PrepareForSleep(false)
    std::function<void()> willLock; ///< the session's Lock signal, its idle hint, or PrepareForSleep(true)
};

} // namespace ovalin
