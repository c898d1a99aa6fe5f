#pragma once

#include "WindowReader.h"
#include "platform/Accessibility.h"

#include <chrono>

namespace ovalin {

/// The window of the application that a user works in, and its title. Asks the X server, on Qt's connection. Worker
/// threads; a few round trips.
[[nodiscard]] FrontTitle frontTitle(const AppWindow& at);

/// Who has the input focus, and how a window gets it. Worker threads; a few round trips a call, on Qt's connection.
class FrontWindow {
public:
    explicit FrontWindow(xcb_connection_t* theConnection)
        : connection(theConnection)
        , reader(theConnection) {}

    /// The target if it is in front: the input focus lies in its window, or in another one of the same client while the
    /// window manager calls it the active one. Empty otherwise, and for windows of our own.
    [[nodiscard]] WindowIdentity find(const AppWindow& target) const;

    /// Who made the window, whether it is in front or not; empty when it is not `pid`'s or gone.
    [[nodiscard]] WindowIdentity identify(const AppWindow& target) const;

    /// Makes the target the active window (EWMH _NET_ACTIVE_WINDOW), on its own workspace, and waits for the focus;
    /// without a window manager it is raised and given the focus. Empty when it does not get it by `deadline`, at once
    /// when it does not exist.
    [[nodiscard]] WindowIdentity bring(const AppWindow& target, std::chrono::steady_clock::time_point deadline) const;

private:
    void ask(quint32 window) const;
    void tellRoot(quint32 window, quint32 type, quint32 value) const;

    xcb_connection_t* const connection;
    const WindowReader reader;
};

} // namespace ovalin
