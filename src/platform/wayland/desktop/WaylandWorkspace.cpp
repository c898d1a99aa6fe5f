#include "WaylandWorkspace.h"

#include <unistd.h>

namespace ovalin {

WaylandWorkspace::WaylandWorkspace(Compositor& theCompositor, Dispatch& dispatch, std::function<void()> theAsked)
    : compositor(theCompositor)
    , asked(std::move(theAsked))
    , names(dispatch) {}

std::optional<FrontApplication> WaylandWorkspace::frontmostApplication() {
    asked();
    const auto front = compositor.book().front();
    if (!front || front->pid == ::getpid())
        return {};
    // Elsewhere than on sway it is not told at once that the last one is out of sight, on another workspace.
    if (!compositor.sway() && !compositor.book().applicationHasKeyboard())
        return {};
    const auto [name, bundleId] = names.find(front->appId, front->instance, front->pid);
    return FrontApplication{name, bundleId, front->pid, WindowId{front->id}};
}

QString WaylandWorkspace::title(WindowId window) {
    return compositor.book().find(window.number).value_or(WaylandWindow{}).title;
}

} // namespace ovalin
