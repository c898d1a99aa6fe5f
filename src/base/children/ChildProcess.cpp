#include "ChildProcess.h"

#include "ChildLoop.h"
#include "Spawn.h"
#include "Supervisor.h"

#include <sys/wait.h>

#include <array>
#include <functional>
#include <system_error>
#include <thread>

namespace ovalin {

namespace {

class Run final : public ChildLoop {
public:
    Run(StartedChild child, const RunOptions& how)
        : ChildLoop(std::move(child), how.grace)
        , options(how) {
        if (options.deadline)
            endAt = Clock::now() + *options.deadline;
        if (options.stop.stop_possible())
            onStop.emplace(options.stop, [this] { wake(); });
        if (options.input)
            send(*options.input);
        closeInputWhenSent();
    }

    ChildRun toEnd() {
        run();
        return std::move(result);
    }

private:
    void look() override {
        if (!isTerminated() && endAt && Clock::now() >= *endAt) {
            result.timedOut = true;
            terminate();
        }
        if (options.stop.stop_requested())
            terminate();
    }
    std::optional<Clock::time_point> lookAgainAt() const override { return isTerminated() ? std::nullopt : endAt; }

    std::span<char> room() override { return buffer; }
    void printed(size_t count) override {
        const qsizetype left = options.outputLimit - result.output.size();
        result.output.append(buffer.data(), std::min(left, static_cast<qsizetype>(count)));
        if (static_cast<qsizetype>(count) > left) {
            result.truncated = true;
            terminate();
        }
    }
    void refused(int) override {} // it may well not want the rest
    void hasEnded(const ChildEnd& how) override { result.end = how; }

    const RunOptions& options;
    std::optional<Clock::time_point> endAt;
    std::array<char, 65536> buffer{};
    ChildRun result;
    std::optional<std::stop_callback<std::function<void()>>> onStop;
};

} // namespace

ChildRun runToEnd(const ChildCommand& command, const RunOptions& options) {
    auto child = startChild(options.supervised ? supervised(command).command : command,
                            options.input ? ChildInput::Pipe : ChildInput::None);
    if (!child)
        return {{ChildEnd::Kind::FailedToStart, 0, child.error()}, {}, false, false};
    return Run(std::move(*child), options).toEnd();
}

tl::expected<void, QString> launchDetached(const ChildCommand& command) {
    const auto pid = spawnChild(command, -1, -1, ChildGroup::Session);
    if (!pid)
        return tl::unexpected(pid.error());
    // Somebody has to wait for it, or it stays a zombie until we end.
    try {
        std::thread([child = *pid] { ::waitpid(child, nullptr, 0); }).detach();
    } catch (const std::system_error&) {
        // No thread to be had: a zombie costs less than the job.
    }
    return {};
}

} // namespace ovalin
