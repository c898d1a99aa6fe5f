#include "ChildProcess.h"

#include "Spawn.h"

#include <QMutex>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

extern "C" { // glibc 2.36 forgot to say so in this header
#include <sys/pidfd.h>
}

namespace ovalin {

namespace {

struct Shell {
    QMutex mutex;
    QString path = QStringLiteral("/bin/zsh");
};

Shell& shell() {
    static Shell theShell;
    return theShell;
}

using Clock = std::chrono::steady_clock;

/// A child that we feed and drain until it has ended.
class RunningChild {
public:
    RunningChild(pid_t child, Descriptor feed, Descriptor drain, const RunOptions& how)
        : pid(child)
        , processFd(::pidfd_open(child, 0))
        , in(std::move(feed))
        , out(std::move(drain))
        , options(how) {
        if (options.deadline)
            endAt = Clock::now() + *options.deadline;
        if (options.stop.stop_possible()) {
            stopFd = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
            onStop.emplace(options.stop, [fd = stopFd.get()] { ::eventfd_write(fd, 1); });
        }
    }

    ChildRun toEnd() {
        while (!finished()) {
            const auto now = Clock::now();
            if (!terminated && endAt && now >= *endAt) {
                run.timedOut = true;
                terminate();
            }
            if (options.stop.stop_requested())
                terminate();
            if (terminated && !killed && now >= killAt) {
                ::kill(-pid, SIGKILL);
                killed = true;
            }
            waitForNews();
        }
        return reaped();
    }

private:
    /// Only looks: the pid, and with it the group's number, stays ours until reaped().
    bool hasEnded() {
        siginfo_t info{};
        if (!ended &&
            (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == pid)) {
            ended = true;
            drainUntil = Clock::now() + options.grace;
        }
        return ended;
    }

    bool finished() { return hasEnded() && (!out || killed || Clock::now() >= drainUntil); }

    void terminate() {
        if (terminated)
            return;
        ::kill(-pid, SIGTERM);
        terminated = true;
        killAt = Clock::now() + options.grace;
    }

    void waitForNews() {
        std::array<pollfd, 4> news{{{ended ? -1 : processFd.get(), POLLIN, 0},
                                    {in.get(), POLLOUT, 0},
                                    {out.get(), POLLIN, 0},
                                    {terminated ? -1 : stopFd.get(), POLLIN, 0}}};
        if (::poll(news.data(), news.size(), patience()) <= 0)
            return;
        if (news[1].revents != 0)
            feed();
        if (news[2].revents != 0)
            drain();
    }

    /// Milliseconds until the next thing that we do by the clock.
    int patience() const {
        using std::chrono::milliseconds;
        milliseconds wait = processFd ? milliseconds(60000) : milliseconds(20); // no pidfd: look now and then
        const auto until = [&wait](Clock::time_point when) {
            wait = std::min(wait, std::chrono::ceil<milliseconds>(when - Clock::now()));
        };
        if (!terminated && endAt)
            until(*endAt);
        if (terminated && !killed)
            until(killAt);
        if (ended)
            until(drainUntil);
        return static_cast<int>(std::max(wait, milliseconds(0)).count());
    }

    void feed() {
        const QByteArray& input = *options.input;
        const auto count = ::write(in.get(), input.constData() + fed, static_cast<size_t>(input.size() - fed));
        if (count < 0 && wouldBlock())
            return;
        fed += std::max<qsizetype>(count, 0);
        if (count < 0 || fed == input.size()) // it may well not want the rest
            in.close();
    }

    void drain() {
        const auto count = ::read(out.get(), buffer.data(), buffer.size());
        if (count < 0 && wouldBlock())
            return;
        if (count <= 0) {
            out.close();
            return;
        }
        const qsizetype room = options.outputLimit - run.output.size();
        run.output.append(buffer.data(), std::min<qsizetype>(room, count));
        if (count > room) {
            run.truncated = true;
            terminate();
        }
    }

    ChildRun reaped() {
        if (terminated)
            ::kill(-pid, SIGKILL); // whoever of the group passed over SIGTERM
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFSIGNALED(status))
            run.end = {ChildEnd::Kind::Killed, WTERMSIG(status), {}};
        else
            run.end = {ChildEnd::Kind::Exited, WEXITSTATUS(status), {}};
        return std::move(run);
    }

    const pid_t pid;
    Descriptor processFd, in, out, stopFd;
    std::optional<std::stop_callback<std::function<void()>>> onStop;
    const RunOptions& options;
    std::array<char, 65536> buffer{};
    ChildRun run;
    qsizetype fed = 0;
    std::optional<Clock::time_point> endAt;
    Clock::time_point killAt, drainUntil;
    bool ended = false, terminated = false, killed = false;
};

ChildRun failedToStart(const QString& reason) { return {{ChildEnd::Kind::FailedToStart, 0, reason}, {}, false, false}; }

} // namespace

QString shellPath() {
    QMutexLocker lock(&shell().mutex);
    return shell().path;
}

void setShellPath(const QString& path) {
    QMutexLocker lock(&shell().mutex);
    shell().path = path;
}

ChildCommand shellCommand(const QString& line, const ChildVariables& variables) {
    return {shellPath(), {QStringLiteral("-c"), line}, variables, {}};
}

QString ChildEnd::describe() const {
    switch (kind) {
    case Kind::FailedToStart:
        return reason;
    case Kind::Exited:
        return QStringLiteral("exit status %1").arg(number);
    case Kind::Killed:
        return QStringLiteral("ended by signal %1").arg(number);
    }
    return {};
}

ChildRun runToEnd(const ChildCommand& command, const RunOptions& options) {
    Pipe input;
    if (options.input) {
        auto made = makePipe();
        if (!made)
            return failedToStart(made.error());
        input = std::move(*made);
        makeNonBlocking(input.write);
    }
    auto output = makePipe();
    if (!output)
        return failedToStart(output.error());
    makeNonBlocking(output->read);
    const auto pid = spawnChild(command, input.read.get(), output->write.get(), ChildGroup::Own);
    if (!pid)
        return failedToStart(pid.error());
    input.read.close();
    output->write.close();
    return RunningChild(*pid, std::move(input.write), std::move(output->read), options).toEnd();
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
