#pragma once

#include "ChildCommand.h"

#include <tl/expected.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <span>

namespace ovalin {

/// A child that is talked to while it lives. A thread of its own reads what it prints and feeds what it is told, so
/// that a child that does not read, or floods, holds up nobody.
class LiveChild {
public:
    /// All called on the child's thread, in the order of what happened; they may outlive the LiveChild by the time that
    /// the child takes to end.
    struct Handlers {
        std::function<std::span<char>()> room;     ///< where the next output may be read to; empty: not now
        std::function<void(size_t count)> printed; ///< so much of the room was filled
        std::function<void(const ChildEnd&)> ended;
        std::function<void(const QString& reason)> refused; ///< it took no input any more; once
    };

    /// Blocks until the child is executed (about a millisecond). Any thread. The error says why there is none.
    [[nodiscard]] static tl::expected<std::unique_ptr<LiveChild>, QString> start(const ChildCommand& command,
                                                                                 Handlers handlers);

    /// Does what terminate() does.
    ~LiveChild();
    LiveChild(const LiveChild&) = delete;
    LiveChild& operator=(const LiveChild&) = delete;

    [[nodiscard]] bool running() const;

    /// Queues bytes for its standard input. Never blocks.
    void write(QByteArray bytes);

    /// The room has grown: read on.
    void wake();

    /// Closes its input and sends SIGTERM to its group; after `GRACE` SIGKILL to whatever is left of it, also to
    /// descendants in sessions of their own. Returns at once; `ended` is not called any more.
    void terminate();

    static constexpr std::chrono::milliseconds GRACE{2000};

    /// Waits until all children that were told to end have ended; at most a little more than the grace. Main thread, at
    /// the end of the program.
    static void awaitEnds();

private:
    class Loop;
    explicit LiveChild(std::shared_ptr<Loop> theLoop);
    const std::shared_ptr<Loop> loop;
};

} // namespace ovalin
