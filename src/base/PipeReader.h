#pragma once

#include "Descriptor.h"
#include "EventThread.h"

#include <QByteArray>

#include <optional>

namespace ovalin {

/// All that comes out of a pipe until its other end is closed; nothing when that is not by the deadline, or when it is
/// more than `most` bytes. Worker threads.
[[nodiscard]] std::optional<QByteArray> readToEnd(const Descriptor& from, Deadline deadline, qsizetype most);

} // namespace ovalin
