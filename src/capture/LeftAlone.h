#pragma once

#include "platform/Workspace.h"

#include <QStringList>

namespace ovalin {

/// Why nothing may be captured over what is in front, for the hint line; empty: it may. Left alone are password
/// managers, what asks for a password, what the user has excluded, and, on a desktop where not all windows are seen,
/// what nobody knows. A pattern (* and ?, any case) is compared with the application's name, its identifier and the
/// window's title, each as a whole. Pure.
[[nodiscard]] QString whyLeftAlone(const std::optional<FrontApplication>& front, bool seesAllWindows,
                                   const QStringList& exclude);

} // namespace ovalin
