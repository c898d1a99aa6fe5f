#pragma once

#include "platform/Windows.h"
#include "platform/Workspace.h"

#include <QStringList>

#include <functional>

namespace ovalin {

/// Why nothing may be captured over what is in front, for the hint line; empty: it may. Left alone are password
/// managers, what asks for a password, what the user has excluded, and, on a desktop where not all windows are seen,
/// what nobody knows. A pattern (* and ?, any case) is compared with the application's name, its identifier and the
/// window's title, each as a whole. Pure.
[[nodiscard]] QString whyLeftAlone(const std::optional<FrontApplication>& front, bool seesAllWindows,
                                   const QStringList& exclude);

/// Whether this window may not be pictured. Pure.
[[nodiscard]] bool isLeftAlone(const WindowInfo& window, const QStringList& exclude);

/// Asked before and after each look below an open panel, since the window may show another page by then.
using LeftAloneNow = std::function<bool(WindowId window, const QString& title)>;

/// Whether the window, or a page with this title, is what the user has excluded. For workers; empty where they have
/// excluded nothing. The windows are kept by reference.
[[nodiscard]] LeftAloneNow leftAloneAmong(Windows& windows, const QStringList& exclude);

} // namespace ovalin
