#pragma once

#include "platform/Accessibility.h"

#include <QString>

namespace ovalin {

/// The window of an application that a user works in, and its title (EWMH _NET_WM_NAME, else WM_NAME).
struct FrontTitle {
    quint32 window = 0; ///< 0: another application is in front; the title is then that of the window asked about
    QString title;      ///< empty: not known
};

/// Asks the X server, on Qt's connection. Worker threads; a few round trips.
[[nodiscard]] FrontTitle frontTitle(const AppWindow& at);

} // namespace ovalin
