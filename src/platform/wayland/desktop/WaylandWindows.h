#pragma once

#include "Compositor.h"
#include "platform/Windows.h"

namespace ovalin {

/// The windows that sway shows; elsewhere the one in front alone, since nobody tells which are to be seen.
class WaylandWindows final : public Windows {
public:
    explicit WaylandWindows(Compositor& theCompositor)
        : compositor(theCompositor) {}

    [[nodiscard]] std::vector<WindowInfo> onScreenWindows() override;

private:
    Compositor& compositor;
};

} // namespace ovalin
