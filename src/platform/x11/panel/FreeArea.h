#pragma once

#include <QRect>

#include <vector>

namespace ovalin {

/// What a dock or panel keeps for itself at an edge of the root window (EWMH _NET_WM_STRUT_PARTIAL); device pixels.
struct ReservedStrip {
    Qt::Edge edge;
    QRect area;
};

/// What the strips leave of a monitor. A strip reaches in from an edge of the root window, over other monitors maybe:
/// one that covers all of this one in that direction is a dock behind it. Pure.
[[nodiscard]] QRect freeOf(const QRect& monitor, const std::vector<ReservedStrip>& strips);

/// The strips of one window: four numbers tell how deep they are at the left, right, upper and lower edge of the root
/// window, eight more where each begins and ends along it. Pure.
void addStrips(std::vector<ReservedStrip>& strips, QSize root, const std::vector<quint32>& values);

} // namespace ovalin
