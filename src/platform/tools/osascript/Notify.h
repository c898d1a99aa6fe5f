#pragma once

#include "Script.h"

#include <QDeadlineTimer>

namespace ovalin {

/// Shows it by org.freedesktop.Notifications; the error says why it could not be shown.
[[nodiscard]] tl::expected<void, QString> showNotification(const NotificationScript& script, QDeadlineTimer deadline);

} // namespace ovalin
