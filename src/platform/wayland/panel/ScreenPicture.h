#pragma once

#include "ScreenConnection.h"

#include <QImage>
#include <QRect>

namespace ovalin {

/// What an output shows in a part of it (its own logical pixels), without the pointer; its pixels are the output's,
/// which the device pixel ratio tells. Null: it cannot be had, or not in time. Main thread.
[[nodiscard]] QImage pictureOf(ScreenConnection& connection, const ScreenConnection::Output& output, const QRect& area,
                               ScreenDeadline deadline);

} // namespace ovalin
