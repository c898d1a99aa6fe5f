#pragma once

#include "platform/Workspace.h"

#include <QPoint>
#include <QRect>
#include <QSize>

#include <vector>

namespace ovalin {

/// One screen in logical pixels; `visible` is what docks and bars leave free.
struct ScreenArea {
    QRect frame;
    QRect visible;
};

/// No panel comes closer than this to the visible frame of its screen.
inline constexpr int SCREEN_MARGIN = 12;

/// Top left corner of the capture panel: it hangs 24 pixels below the pointer, centred on it, kept inside the screen
/// that holds the pointer (the first of the list, the main screen, when none does). Pure.
[[nodiscard]] QPoint placeUnderPointer(QPoint pointer, QSize panel, const std::vector<ScreenArea>& screens);

/// Top left corner of a card beside the panel: right of it, else left, else below, kept inside the screen that holds
/// the panel's centre. Pure.
[[nodiscard]] QPoint placeBeside(QRect panel, QSize card, const std::vector<ScreenArea>& screens);

/// How high a card beside the panel may be. Pure.
[[nodiscard]] int mostHeightBeside(QRect panel, const std::vector<ScreenArea>& screens);

/// Where a panel that changes its height goes: its top edge stays, unless its lower edge would leave the visible frame;
/// then it moves up by what is missing, so that the prompt is never out of reach. Pure.
[[nodiscard]] QPoint placeResized(QRect panel, int newHeight, const std::vector<ScreenArea>& screens);

/// What the strips leave of a monitor. A strip reaches in from an edge of the root window, over other monitors maybe:
/// one that covers all of this one in that direction is a dock behind it. Pure.
[[nodiscard]] QRect freeOf(const QRect& monitor, const std::vector<ReservedStrip>& strips);

/// The screens as they are now, the main one first. Main thread.
[[nodiscard]] std::vector<ScreenArea> currentScreens(const std::vector<ReservedStrip>& strips);

} // namespace ovalin
