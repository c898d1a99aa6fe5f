#pragma once

#include "platform/atspi/AtSpiPage.h"

#include <QDeadlineTimer>
#include <QString>

#include <tl/expected.hpp>

namespace ovalin {

/// The front page of the running browser with this AppleScript name; the error says for people what is missing.
[[nodiscard]] tl::expected<AtSpiPage, QString> frontPageOf(const QString& application, QDeadlineTimer deadline);

} // namespace ovalin
