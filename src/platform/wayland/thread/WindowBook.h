#pragma once

#include <QRect>
#include <QString>

#include <map>
#include <mutex>
#include <optional>

namespace ovalin {

/// A window of an application, as far as the compositor tells.
struct WaylandWindow {
    quint64 id = 0;   ///< a number of the compositor's, or our own
    qint32 pid = 0;   ///< 0: not told
    QString appId;    ///< of an X client the class of its WM_CLASS
    QString instance; ///< of an X client the other part
    QString title;
    QRect frame;      ///< logical pixels of the layout, as of `frameOf`; empty: not told
    QString handle{}; ///< what the compositor calls it on the session bus; empty: nothing
};

/// Which window the user works in, kept from the compositor's events: while the panel has the keyboard nobody could be
/// asked any more. Written on the WaylandThread, read by any; nobody waits.
class WindowBook {
public:
    /// The window that has the keyboard, or had it before the panel took it.
    [[nodiscard]] std::optional<WaylandWindow> front() const {
        const std::lock_guard lock(mutex);
        return window;
    }
    /// Whether some application's window has the keyboard at this moment.
    [[nodiscard]] bool applicationHasKeyboard() const {
        const std::lock_guard lock(mutex);
        return keyboardThere;
    }
    /// One that has been in front and is still there.
    [[nodiscard]] std::optional<WaylandWindow> find(quint64 id) const {
        const std::lock_guard lock(mutex);
        const auto found = seen.find(id);
        return found == seen.end() ? std::nullopt : std::optional(found->second);
    }
    /// Grows whenever another window comes to the front.
    [[nodiscard]] quint64 changes() const {
        const std::lock_guard lock(mutex);
        return count;
    }

    void setFront(std::optional<WaylandWindow> front) {
        const std::lock_guard lock(mutex);
        if (front.has_value() != window.has_value() || (front && front->id != window->id))
            ++count;
        if (front)
            seen[front->id] = *front;
        window = std::move(front);
    }
    void closed(quint64 id) {
        const std::lock_guard lock(mutex);
        seen.erase(id);
        if (window && window->id == id) {
            window.reset();
            ++count;
        }
    }
    void setKeyboardThere(bool there) {
        const std::lock_guard lock(mutex);
        keyboardThere = there;
    }

private:
    mutable std::mutex mutex;
    std::optional<WaylandWindow> window;
    std::map<quint64, WaylandWindow> seen;
    bool keyboardThere = false;
    quint64 count = 0;
};

} // namespace ovalin
