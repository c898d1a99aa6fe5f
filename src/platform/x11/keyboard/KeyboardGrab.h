#pragma once

#include <QtGlobal>

#include <functional>
#include <mutex>

struct xcb_connection_t;

namespace ovalin {

/// The active keyboard grab on Qt's connection, shared by the hold (main thread) and the synthetic keys (a worker), so
/// that neither undoes what the other did. Any thread.
class KeyboardGrab {
public:
    explicit KeyboardGrab(xcb_connection_t* connection);
    KeyboardGrab(const KeyboardGrab&) = delete;
    KeyboardGrab& operator=(const KeyboardGrab&) = delete;

    /// One round trip. False when another client has the keyboard, or the window is not to be seen.
    [[nodiscard]] bool grab(quint32 window);
    void release();
    [[nodiscard]] bool held() const;

    /// Sends `before` under the grab, `inGap` without it and `after` under it again, in one flush: the server works
    /// requests off in order, so no key of the user's can fall into the gap. Without a grab it sends them as they are.
    /// False when the grab could not be had again. Waits one round trip, until the server has worked all of it off.
    bool openFor(const std::function<void()>& before, const std::function<void()>& inGap,
                 const std::function<void()>& after);

private:
    xcb_connection_t* const connection;
    mutable std::mutex mutex;
    quint32 heldFor = 0; // guarded by mutex
};

} // namespace ovalin
