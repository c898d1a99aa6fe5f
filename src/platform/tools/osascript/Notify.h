#pragma once

#include "Script.h"

namespace ovalin {

/// Shows it by org.freedesktop.Notifications, which may take two seconds a call; the error says that it could not be
/// shown.
[[nodiscard]] tl::expected<void, QString> showNotification(const NotificationScript& script);

} // namespace ovalin
