#pragma once

#include "platform/WindowId.h"

namespace ovalin {

/// On X11 the number is the window's own.
[[nodiscard]] inline quint32 xWindow(WindowId id) { return static_cast<quint32>(id.number); }

} // namespace ovalin
