#pragma once

#include "Descriptor.h"
#include "EventThread.h"

#include <QByteArray>

#include <optional>

namespace ovalin {

/// All that comes out of a pipe until its other end is closed; nothing when that is not by the deadline, or when it is
/// more than `most` bytes. Worker threads.
[[nodiscard]] std::optional<QByteArray> readToEnd(const Descriptor& from, Deadline deadline, qsizetype most);

/// A pipe whose reading end does not block; none where there are no more descriptors.
struct Pipe {
    Descriptor from, into;
};
[[nodiscard]] Pipe openPipe();

} // namespace ovalin
