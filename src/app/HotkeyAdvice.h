#pragma once

#include <QString>

namespace ovalin {

/// How the user frees a key that another program holds, in the words of their desktop, and how to choose another key.
/// `desktop`: $XDG_CURRENT_DESKTOP; `windowManager`: as it names itself. Either may be empty or unknown. Pure.
[[nodiscard]] QString howToFree(const QString& hotkey, const QString& desktop, const QString& windowManager);

} // namespace ovalin
