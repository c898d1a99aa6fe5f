#pragma once

#include "ChildCommand.h"

namespace ovalin {

/// A command whose child, and all that this starts, bear a mark of its own.
struct MarkedCommand {
    ChildCommand command;
    QByteArray mark; ///< "NAME=value" in their environment
};

/// Has a small process wait for our end, however that comes: two seconds later it kills whoever of the children marked
/// here is still there, and their descendants. One of these for the whole program, started at the first call; without
/// it, where it cannot be started, SIGTERM has to do. Any thread.
[[nodiscard]] MarkedCommand supervised(const ChildCommand& command);

} // namespace ovalin
