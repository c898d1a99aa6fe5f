#pragma once

#include "WaylandThread.h"

#include <QImage>

#include <functional>

namespace ovalin {

/// Takes a picture of this part of the layout (logical pixels), without the pointer, as the screen shows it at the next
/// frame; of the screen that shows most of it. An empty rectangle is the first screen. On the WaylandThread; `done` is
/// called there once, with a null picture when there is none to be had.
void copyScreen(WaylandThread& thread, const QRect& part, std::function<void(QImage)> done);

} // namespace ovalin
