#pragma once

#include "base/Dispatch.h"
#include "platform/Desktop.h"
#include "platform/KeyChord.h"
#include "platform/Windows.h"

#include <QImage>

#include <functional>
#include <memory>

namespace ovalin {

/// The real desktop on a Wayland compositor with layer shell and data control, as X11Desktop is that on X11. Made after
/// QApplication on the main thread; the dispatch outlives it.
class WaylandDesktop {
public:
    explicit WaylandDesktop(Dispatch& dispatch, KeyChord hotkey = {});
    ~WaylandDesktop();

    [[nodiscard]] Desktop desktop();

    [[nodiscard]] Windows& windows();

    /// What was to be seen of the window in front before the panel covered it; null when there is no picture of this
    /// process. Worker threads; waits until it is there.
    [[nodiscard]] QImage picture(qint32 pid);

    /// What will not work here and why, for the user; empty: nothing.
    [[nodiscard]] QString missing() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
