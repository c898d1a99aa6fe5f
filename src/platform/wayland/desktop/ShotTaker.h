#pragma once

#include "Compositor.h"

#include <QImage>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace ovalin {

/// The picture of the window in front, taken before the panel covers it; of the whole screen where there is none. Only
/// on sway, which tells what windows are to be seen.
class ShotTaker {
public:
    explicit ShotTaker(Compositor& theCompositor)
        : compositor(theCompositor) {}

    /// Begins to take it: an opening begins. Main thread; returns at once.
    void begin();
    /// The panel is about to be shown: what is not taken by now, or 100 ms later, is dropped, since it might show the
    /// panel. Main thread.
    void finish();

    /// What was taken, if the window was of this process; waits until it is there, `patience` at most. Worker threads.
    [[nodiscard]] QImage picture(qint32 pid, std::chrono::milliseconds patience = std::chrono::seconds(2));

private:
    struct Shot {
        qint32 pid = 0;
        QImage picture;
    };
    using Answer = std::function<void(Shot)>;
    void copy();
    void deliver(Shot shot);

    Compositor& compositor;
    bool begun = false; // main thread
    // On the thread:
    quint64 current = 0; // counts the pictures
    bool copying = false;
    quint64 forgetting = 0; // timer
    std::optional<Shot> last;
    std::vector<Answer> waiting;
};

} // namespace ovalin
