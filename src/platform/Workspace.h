#pragma once

#include "platform/WindowId.h"

#include <QString>

#include <optional>

namespace ovalin {

struct FrontApplication {
    QString name;     ///< for people: Name= of the desktop file, else the WM_CLASS
    QString bundleId; ///< from a table for the applications the program knows, else the WM_CLASS
    qint32 pid = 0;
    WindowId window{};
    QString title{}; ///< of the window, where somebody has asked for it
};

/// The applications of the desktop. Main thread; a few round trips to the X server at most, no other process is asked.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// The application the user works in: the EWMH active window, else the input focus, else what lies under the
    /// pointer.
    [[nodiscard]] virtual std::optional<FrontApplication> frontmostApplication() = 0;

    [[nodiscard]] virtual QString title(WindowId window) = 0;

    /// What the window manager calls itself; empty when none runs.
    [[nodiscard]] virtual QString windowManager() = 0;

    /// False in a Wayland session: without a front application the user may work in a window that nobody here sees.
    [[nodiscard]] virtual bool seesAllWindows() = 0;
};

} // namespace ovalin
