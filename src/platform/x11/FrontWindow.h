#pragma once

#include "WindowReader.h"
#include "platform/Keyboard.h"

#include <chrono>

namespace ovalin {

/// Who has the input focus, and how a window gets it. Worker threads; a few round trips a call, on Qt's connection.
class FrontWindow {
public:
    explicit FrontWindow(xcb_connection_t* theConnection)
        : connection(theConnection)
        , reader(theConnection) {}

    /// The target if it is in front: the input focus lies in its window, or in another one of the same client while the
    /// window manager calls it the active one. Empty otherwise, and for windows of our own.
    [[nodiscard]] WindowIdentity find(const Keyboard::PasteTarget& target) const;

    /// Makes the target the active window (EWMH _NET_ACTIVE_WINDOW) and waits for the focus; without a window manager
    /// it is raised and given the focus. Empty when it does not get it by `deadline`, at once when it does not exist.
    [[nodiscard]] WindowIdentity bring(const Keyboard::PasteTarget& target,
                                       std::chrono::steady_clock::time_point deadline) const;

private:
    [[nodiscard]] WindowIdentity identify(const Keyboard::PasteTarget& target) const;
    void ask(quint32 window) const;

    xcb_connection_t* const connection;
    const WindowReader reader;
};

} // namespace ovalin
