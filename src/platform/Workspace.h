#pragma once

#include <QRect>
#include <QString>

#include <optional>

namespace ovalin {

struct FrontApplication {
    QString name;     ///< for people: Name= of the desktop file, else the WM_CLASS
    QString bundleId; ///< from a table for the applications the program knows, else the WM_CLASS
    qint32 pid = 0;
    quint32 window = 0; ///< X11 window
};

/// The applications of the desktop. Main thread; a few round trips to the X server at most, no other process is asked.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// The application the user works in: the EWMH active window, else the input focus, else what lies under the
    /// pointer.
    [[nodiscard]] virtual std::optional<FrontApplication> frontmostApplication() = 0;

    /// A compositing manager runs (EWMH _NET_WM_CM_Sn).
    [[nodiscard]] virtual bool compositorRuns() = 0;
};

} // namespace ovalin
