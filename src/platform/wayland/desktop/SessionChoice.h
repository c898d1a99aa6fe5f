#pragma once

#include <QString>

namespace ovalin {

/// The Wayland session that the environment names.
struct WaylandSession {
    bool there = false;  ///< a compositor answers
    bool layers = false; ///< it lets windows lie over all others, with the clipboard and the keyboard at hand
    QString lacks;       ///< why the program cannot run natively in it, in a few words; empty: it can, without layers
                         ///< as a window like others, as GNOME Shell has them
};

/// Asks the compositor, 5 seconds at most. Before the application is made.
[[nodiscard]] WaylandSession lookForWayland();

} // namespace ovalin
