#pragma once

#include "Compositor.h"
#include "platform/wayland/panel/ScreenPicture.h"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace ovalin {

/// The picture of the window in front, cut out of what the outputs showed before the panel covered it; of the first
/// output where there is no window. Only on sway, which tells what windows are to be seen.
class ShotTaker {
public:
    explicit ShotTaker(Compositor& theCompositor)
        : compositor(theCompositor) {}

    /// An opening begins: looks where the window in front is. Main thread; returns at once.
    void begin();
    /// What the outputs show, without the panel. Main thread; returns at once.
    void pictured(std::vector<ShownOutput> outputs);

    /// What there is, if the window was of this process; waits until it is there, `patience` at most. Worker threads.
    [[nodiscard]] QImage picture(qint32 pid, std::chrono::milliseconds patience = std::chrono::seconds(2));

private:
    struct Shot {
        qint32 pid = 0;
        QImage picture;
    };
    using Answer = std::function<void(Shot)>;
    void cut();
    void deliver(Shot shot);

    Compositor& compositor;
    // On the thread:
    quint64 current = 0; // counts the openings
    bool taking = false;
    std::optional<WaylandWindow> window; // in front, once that is known
    bool located = false;
    std::optional<std::vector<ShownOutput>> shown; // once it is there
    quint64 forgetting = 0;                        // timer
    std::optional<Shot> last;
    std::vector<Answer> waiting;
};

/// The part of what the outputs show that is this rectangle of the layout, on the output that has most of it; all of
/// the first output for an empty one. Null where it is on none. Pure.
[[nodiscard]] QImage cutOut(const std::vector<ShownOutput>& outputs, const QRect& frame);

} // namespace ovalin
