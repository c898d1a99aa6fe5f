#pragma once

#include "platform/PanelHost.h"

#include <QSize>

namespace ovalin {

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

} // namespace ovalin
