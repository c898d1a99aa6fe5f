#pragma once

#include "Compositor.h"
#include "platform/Workspace.h"
#include "platform/applications/ApplicationNames.h"

#include <functional>

namespace ovalin {

/// The applications as the book of windows has them; nobody is asked.
class WaylandWorkspace final : public Workspace {
public:
    /// `asked` is called first: an opening begins.
    WaylandWorkspace(Compositor& compositor, Dispatch& dispatch, std::function<void()> asked);

    [[nodiscard]] std::optional<FrontApplication> frontmostApplication() override;
    [[nodiscard]] QString title(WindowId window) override;
    [[nodiscard]] QString windowManager() override { return compositor.name(); }
    [[nodiscard]] bool seesAllWindows() override { return compositor.tellsFront(); }

private:
    Compositor& compositor;
    const std::function<void()> asked;
    ApplicationNames names;
};

} // namespace ovalin
