#pragma once

#include "ChildCommand.h"

#include <tl/expected.hpp>

#include <chrono>
#include <optional>
#include <stop_token>

namespace ovalin {

struct RunOptions {
    std::optional<QByteArray> input;                   ///< absent: /dev/null
    std::optional<std::chrono::milliseconds> deadline; ///< then SIGTERM to the group, and SIGKILL after `grace`
    std::chrono::milliseconds grace{2000};
    std::stop_token stop{};                      ///< ends the child like its deadline does, for one that has none
    qsizetype outputLimit = qsizetype{64} << 20; ///< bytes; a child that prints more is ended like one that is late
    bool supervised = false; ///< may pass over SIGTERM: killed when we are gone, with all that it has started
};

struct ChildRun {
    ChildEnd end;
    QByteArray output;
    bool timedOut = false;
    bool truncated = false; ///< there was more output than the limit

    /// The output as text, white space at both ends removed; invalid UTF-8 becomes U+FFFD.
    [[nodiscard]] QString text() const { return QString::fromUtf8(output).trimmed(); }
};

/// Runs a child to its end: feeds its input while it drains its output, so that no size of either blocks. Standard
/// error goes to /dev/null. What the child left running may hold its output open: that is read for `grace` longer and
/// no more. Blocks: for worker threads.
[[nodiscard]] ChildRun runToEnd(const ChildCommand& command, const RunOptions& options = {});

/// Starts a job that outlives us, in a session of its own, with /dev/null for the standard three. Does not wait for it
/// and leaves no zombie. The error says why it did not start. Any thread.
[[nodiscard]] tl::expected<void, QString> launchDetached(const ChildCommand& command);

} // namespace ovalin
