#pragma once

#include "base/Descriptor.h"

#include <tl/expected.hpp>

#include <QString>

#include <sys/types.h>

namespace ovalin {

struct ChildCommand;

// What every way of launching a child stands on. Any thread.

/// What becomes the head of a group of its own ends, by SIGTERM, with the thread that started it, and so with the
/// program however that ends; a session of its own outlives both.
enum class ChildGroup { Own, Session };

/// Starts a child. A negative descriptor stands for /dev/null. The caller waits for the child.
[[nodiscard]] tl::expected<pid_t, QString> spawnChild(const ChildCommand& command, int input, int output,
                                                      ChildGroup group);

struct Pipe {
    Descriptor read, write;
};

/// Both ends lie above the standard three, which the child's own would overwrite.
[[nodiscard]] tl::expected<Pipe, QString> makePipe();

void makeNonBlocking(const Descriptor& end);

/// Whether the last read or write has failed only for now.
[[nodiscard]] bool wouldBlock();

} // namespace ovalin
