#pragma once

#include <QString>

namespace ovalin {

/// The Wayland session that the environment names.
struct WaylandSession {
    bool there = false; ///< a compositor answers
    QString lacks;      ///< why the program cannot run natively in it, in a few words; empty: it can
};

/// Asks the compositor, a second at most. Before the application is made.
[[nodiscard]] WaylandSession lookForWayland();

} // namespace ovalin
