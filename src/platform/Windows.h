#pragma once

#include "platform/WindowId.h"

#include <QRect>
#include <QString>

#include <vector>

namespace ovalin {

struct WindowInfo {
    WindowId id;
    qint32 ownerPid = 0; ///< 0 when nobody knows
    int layer = 0;       ///< 0 = ordinary windows; docks, the desktop, notifications, menus lie in others
    QRect frame;         ///< root coordinates, without the window manager's decoration
    QString name{};      ///< what the application calls itself: the WM_CLASS
    QString title{};
};

/// The windows that are on the screen now.
class Windows {
public:
    virtual ~Windows() = default;

    /// The viewable windows, front to back; empty when the desktop cannot be asked. Worker threads.
    [[nodiscard]] virtual std::vector<WindowInfo> onScreenWindows() = 0;
};

} // namespace ovalin
