#pragma once

#include "Compositor.h"
#include "platform/Windows.h"

namespace ovalin {

/// The windows that are on the screens; where nobody tells which, the one in front alone.
class WaylandWindows final : public Windows {
public:
    explicit WaylandWindows(Compositor& theCompositor)
        : compositor(theCompositor) {}

    [[nodiscard]] std::vector<WindowInfo> onScreenWindows() override;

private:
    Compositor& compositor;
};

} // namespace ovalin
