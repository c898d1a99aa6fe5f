#pragma once

#include <QPoint>
#include <QRect>

#include <functional>
#include <vector>

class QImage;
class QWidget;

namespace ovalin {

/// One screen; `visible` is what docks and bars leave free.
struct ScreenArea {
    QRect frame;
    QRect visible;
};

/// What the panel and its cards ask of the screen that they are shown on: override-redirect windows on X11, layer
/// surfaces on Wayland. All places are logical pixels of all screens together. Main thread.
///
/// The windows are hidden and destroyed as any others; menus and tool tips of theirs need no more than Qt does for
/// them.
class PanelHost {
public:
    virtual ~PanelHost() = default;

    [[nodiscard]] virtual QPoint pointer() = 0;

    /// The screens as they are now, the main one first.
    [[nodiscard]] virtual std::vector<ScreenArea> screens() = 0;

    /// Whether one sees through what is transparent (on X11 a compositing manager runs).
    [[nodiscard]] virtual bool composited() = 0;

    /// What is to be seen there, with the screen's scale as its device pixel ratio; null: nobody knows. One round trip.
    [[nodiscard]] virtual QImage backdrop(const QRect& area) = 0;

    /// Shows a window that has its place and its window handle already, over all others, also over full screens.
    virtual void open(QWidget& window) = 0;

    /// Moves, or resizes, a window that is open; it may have the place a little later.
    virtual void place(QWidget& window, const QRect& place) = 0;

    /// composited() may be another now.
    std::function<void()> compositedChanged;
    /// Other windows have come over ours, and ours should be raised.
    std::function<void()> covered;
};

} // namespace ovalin
