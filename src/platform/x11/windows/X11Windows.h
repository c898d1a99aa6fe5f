#pragma once

#include "platform/Windows.h"

#include <QByteArray>

namespace ovalin {

/// The stacking list of the window manager (EWMH _NET_CLIENT_LIST_STACKING) or, without a living one, the root's
/// children. Each call has a connection of its own, so any worker thread may call at any time.
///
/// Layers: 0 ordinary; -1 desktop; 20 dock; 25 notification; 101 menus, tooltips and all override-redirect windows.
class X11Windows final : public Windows {
public:
    /// `display` as in $DISPLAY; empty: $DISPLAY itself.
    explicit X11Windows(QByteArray display = {})
        : displayName(std::move(display)) {}

    [[nodiscard]] std::vector<WindowInfo> onScreenWindows() override;

private:
    QByteArray displayName;
};

} // namespace ovalin
