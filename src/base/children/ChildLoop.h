#pragma once

#include "ChildCommand.h"
#include "base/Descriptor.h"

#include <tl/expected.hpp>

#include <chrono>
#include <deque>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include <sys/types.h>

namespace ovalin {

struct StartedChild {
    pid_t pid = 0;
    Descriptor in, out; ///< our ends of its standard input and output, which never block
};

enum class ChildInput { None, Pipe };

/// Starts a child with pipes, in a group of its own. It gets SIGTERM when the calling thread is gone, which therefore
/// runs its loop. The error says why there is none.
[[nodiscard]] tl::expected<StartedChild, QString> startChild(const ChildCommand& command, ChildInput input);

/// One child from its start to its end: fed, read, ended and reaped on the thread that started it. Who inherits it says
/// what goes in, where the output goes and when it shall end. All on that thread but wake().
class ChildLoop {
public:
    ChildLoop(const ChildLoop&) = delete;
    ChildLoop& operator=(const ChildLoop&) = delete;
    virtual ~ChildLoop() = default;

    /// Returns when the child has ended and is reaped.
    void run();

    /// Has the loop look() again. Any thread.
    void wake() const;

protected:
    using Clock = std::chrono::steady_clock;

    /// `grace` lies between SIGTERM and SIGKILL. With a `mark`, "NAME=value" in the environment of the child and of all
    /// that it starts, these end with it, and only what stands in its output when it has ended is read; without one
    /// they are left running, and what they print is read for `grace` longer.
    ChildLoop(StartedChild child, std::chrono::milliseconds grace, QByteArray mark = {});

    virtual void look() = 0; ///< at each turn: what is wanted by now
    [[nodiscard]] virtual std::optional<Clock::time_point> lookAgainAt() const { return {}; }
    [[nodiscard]] virtual std::span<char> room() = 0; ///< where output is read to; empty: not now
    virtual void printed(size_t count) = 0;           ///< so much of the room was filled
    virtual void refused(int error) = 0;              ///< it takes no input any more
    virtual void hasEnded(const ChildEnd& end) = 0;   ///< and its output is read; its survivors may live

    void send(const QByteArray& bytes);
    void closeInputWhenSent();
    /// SIGTERM to the group, SIGKILL later; no more input. Once.
    void terminate();
    [[nodiscard]] bool isTerminated() const { return killAt.has_value(); }

private:
    [[nodiscard]] bool finished();
    void lookAtChild();
    void killAll();
    void waitForNews();
    [[nodiscard]] int patience() const;
    void feed();
    void refuse(int error);
    void drain(std::span<char> space);
    void endSurvivors();

    const pid_t pid;
    const std::chrono::milliseconds grace;
    const QByteArray mark;
    const Descriptor processFd, wakeFd;
    Descriptor in, out;
    std::deque<QByteArray> unsent;
    qsizetype fed = 0; // of the first of these
    bool closing = false;
    std::optional<Clock::time_point> killAt; // once it was told to end
    bool killed = false;
    std::vector<Descriptor> descendants; // when it was told to end
    std::optional<ChildEnd> itsEnd;
    Clock::time_point readUntil = Clock::time_point::max(); // after the end
    size_t toRead = std::numeric_limits<size_t>::max();     // to be read
};

} // namespace ovalin
