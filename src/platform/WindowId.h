#pragma once

#include <QtGlobal>

namespace ovalin {

/// A window of some application, as the desktop numbers it; only the desktop's own rooms know what the number means.
struct WindowId {
    quint64 number = 0; ///< 0: none, or not known
    [[nodiscard]] explicit operator bool() const { return number != 0; }
    bool operator==(const WindowId&) const = default;
};

} // namespace ovalin
