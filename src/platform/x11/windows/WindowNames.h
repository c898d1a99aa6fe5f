#pragma once

#include <QStringList>

namespace ovalin {

/// The titles of the windows that the window manager manages (EWMH _NET_CLIENT_LIST_STACKING), the active one first,
/// then from the top down. Empty without an X server or window manager. Opens a connection of its own and waits for the
/// X server: not for the main thread of the program.
[[nodiscard]] QStringList windowNamesTopDown();

} // namespace ovalin
