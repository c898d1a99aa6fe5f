#include "Placement.h"

#include <algorithm>
#include <limits>

namespace ovalin {

namespace {

const ScreenArea* screenAt(QPoint point, const std::vector<ScreenArea>& screens) {
    const auto found =
        std::find_if(screens.begin(), screens.end(), [point](const ScreenArea& s) { return s.frame.contains(point); });
    if (found != screens.end())
        return &*found;
    return screens.empty() ? nullptr : &screens.front();
}

// On a screen too small for the panel the upper left corner wins: the prompt is there.
int clampedTo(int value, int from, int length, int size) {
    return std::max(std::min(value, from + length - size - SCREEN_MARGIN), from + SCREEN_MARGIN);
}

QPoint clampedInside(QPoint corner, QSize size, const QRect& visible) {
    return {clampedTo(corner.x(), visible.x(), visible.width(), size.width()),
            clampedTo(corner.y(), visible.y(), visible.height(), size.height())};
}

} // namespace

QPoint placeUnderPointer(QPoint pointer, QSize panel, const std::vector<ScreenArea>& screens) {
    const QPoint wanted(pointer.x() - panel.width() / 2, pointer.y() + 24);
    const ScreenArea* screen = screenAt(pointer, screens);
    return screen ? clampedInside(wanted, panel, screen->visible) : wanted;
}

QPoint placeBeside(QRect panel, QSize card, const std::vector<ScreenArea>& screens) {
    constexpr int GAP = 14;
    QPoint corner(panel.x() + panel.width() + GAP, panel.y());
    const ScreenArea* screen = screenAt(panel.center(), screens);
    if (!screen)
        return corner;
    const QRect visible = screen->visible;
    if (visible.x() + visible.width() - SCREEN_MARGIN < corner.x() + card.width())
        corner.setX(panel.x() - card.width() - GAP);
    if (corner.x() < visible.x() + SCREEN_MARGIN)
        corner = QPoint(panel.x(), panel.y() + panel.height() + GAP);
    return clampedInside(corner, card, visible);
}

int mostHeightBeside(QRect panel, const std::vector<ScreenArea>& screens) {
    const ScreenArea* screen = screenAt(panel.center(), screens);
    return screen ? screen->visible.height() - 2 * SCREEN_MARGIN : std::numeric_limits<int>::max();
}

QPoint placeResized(QRect panel, int newHeight, const std::vector<ScreenArea>& screens) {
    const ScreenArea* screen = screenAt(panel.center(), screens);
    if (!screen)
        return panel.topLeft();
    const int lowest = screen->visible.y() + screen->visible.height() - SCREEN_MARGIN - newHeight;
    // A panel that the user dragged beyond the edge on purpose is not pulled back by shrinking.
    if (panel.y() <= lowest || newHeight <= panel.height())
        return panel.topLeft();
    return {panel.x(), std::max(lowest, std::min(panel.y(), screen->visible.y() + SCREEN_MARGIN))};
}

} // namespace ovalin
