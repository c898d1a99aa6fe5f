#include "ChildLoop.h"

#include "ProcessTree.h"
#include "Spawn.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace ovalin {

using std::chrono::milliseconds;

tl::expected<StartedChild, QString> startChild(const ChildCommand& command, ChildInput wanted) {
    Pipe input;
    if (wanted == ChildInput::Pipe) {
        auto made = makePipe();
        if (!made)
            return tl::unexpected(made.error());
        input = std::move(*made);
        makeNonBlocking(input.write);
        // A screenshot goes in a few turns then; where that is refused it takes more.
        ::fcntl(input.write.get(), F_SETPIPE_SZ, 1 << 20);
    }
    auto output = makePipe();
    if (!output)
        return tl::unexpected(output.error());
    makeNonBlocking(output->read);
    return spawnChild(command, input.read.get(), output->write.get(), ChildGroup::Own).map([&](pid_t pid) {
        return StartedChild{pid, std::move(input.write), std::move(output->read)};
    });
}

ChildLoop::ChildLoop(StartedChild child, milliseconds theGrace, QByteArray theMark)
    : pid(child.pid)
    , grace(theGrace)
    , mark(std::move(theMark))
    , processFd(openProcess(child.pid))
    , wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , in(std::move(child.in))
    , out(std::move(child.out)) {}

void ChildLoop::run() {
    while (!finished()) {
        look();
        if (killAt && !killed && Clock::now() >= *killAt)
            killAll();
        waitForNews();
    }
    hasEnded(*itsEnd);
    endSurvivors();
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void ChildLoop::wake() const { ::eventfd_write(wakeFd.get(), 1); }

bool ChildLoop::finished() {
    if (!itsEnd)
        lookAtChild();
    return itsEnd && (!out || toRead == 0 || killed || Clock::now() >= readUntil);
}

/// Only looks: the pid, and with it the group's number, stays ours until waitpid().
void ChildLoop::lookAtChild() {
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != pid)
        return;
    itsEnd = {info.si_code == CLD_EXITED ? ChildEnd::Kind::Exited : ChildEnd::Kind::Killed, info.si_status, {}};
    int standing = 0;
    if (mark.isEmpty())
        readUntil = Clock::now() + grace;
    else if (out && ::ioctl(out.get(), FIONREAD, &standing) == 0)
        toRead = static_cast<size_t>(standing);
}

void ChildLoop::terminate() {
    if (killAt)
        return;
    if (!mark.isEmpty())
        descendants = descendantsOf(pid);
    ::kill(-pid, SIGTERM);
    killAt = Clock::now() + grace;
    in.close();
    unsent.clear();
}

void ChildLoop::killAll() {
    if (!mark.isEmpty()) {
        for (const Descriptor& later : descendantsOf(pid))
            signalProcess(later, SIGKILL);
    }
    ::kill(-pid, SIGKILL);
    killed = true;
}

void ChildLoop::waitForNews() {
    const std::span<char> space = out ? room() : std::span<char>();
    std::array<pollfd, 4> news{{{itsEnd ? -1 : processFd.get(), POLLIN, 0},
                                {unsent.empty() ? -1 : in.get(), POLLOUT, 0},
                                {space.empty() ? -1 : out.get(), POLLIN, 0},
                                {wakeFd.get(), POLLIN, 0}}};
    if (::poll(news.data(), news.size(), patience()) <= 0)
        return;
    if (news[2].revents != 0)
        drain(space); // first: it may say why nobody reads
    if (news[1].revents != 0)
        feed();
    eventfd_t count = 0;
    if (news[3].revents != 0)
        ::eventfd_read(wakeFd.get(), &count);
}

/// Milliseconds until the next thing that we do by the clock.
int ChildLoop::patience() const {
    milliseconds wait = processFd && wakeFd ? milliseconds(60000) : milliseconds(20); // nobody tells: look now and then
    const auto until = [&wait](Clock::time_point when) {
        if (when < Clock::now() + wait)
            wait = std::chrono::ceil<milliseconds>(when - Clock::now());
    };
    if (killAt && !killed)
        until(*killAt);
    if (const auto next = lookAgainAt())
        until(*next);
    if (itsEnd)
        until(readUntil);
    return static_cast<int>(std::max(wait, milliseconds(0)).count());
}

void ChildLoop::send(const QByteArray& bytes) {
    if (!in)
        refuse(EPIPE); // nobody has read what came before either
    else if (!bytes.isEmpty())
        unsent.push_back(bytes);
}

void ChildLoop::closeInputWhenSent() {
    closing = true;
    if (unsent.empty())
        in.close();
}

void ChildLoop::feed() {
    if (!in)
        return;
    const QByteArray& first = unsent.front();
    const auto count = ::write(in.get(), first.constData() + fed, static_cast<size_t>(first.size() - fed));
    if (count < 0) {
        if (!wouldBlock())
            refuse(errno);
        return;
    }
    fed += count;
    if (fed < first.size())
        return;
    unsent.pop_front();
    fed = 0;
    if (closing && unsent.empty())
        in.close();
}

void ChildLoop::refuse(int error) {
    in.close();
    unsent.clear();
    fed = 0;
    refused(error);
}

void ChildLoop::drain(std::span<char> space) {
    const auto count = ::read(out.get(), space.data(), std::min(space.size(), toRead));
    if (count < 0 && wouldBlock())
        return;
    if (count <= 0) {
        out.close();
        return;
    }
    if (itsEnd && !mark.isEmpty())
        toRead -= static_cast<size_t>(count);
    printed(static_cast<size_t>(count));
}

/// Whoever passed over SIGTERM, or runs in a session of its own where the group's signal does not reach. Of a child
/// that ended by itself the tree is gone: those that it has started are known by their environment.
void ChildLoop::endSurvivors() {
    if (!killAt) {
        if (mark.isEmpty())
            return;
        ::kill(-pid, SIGTERM);
        killAt = Clock::now() + grace;
        descendants = processesWith(mark);
    }
    for (const Descriptor& survivor : descendants)
        signalProcess(survivor, SIGTERM);
    for (const Descriptor& survivor : descendants) {
        while (!processHasEnded(survivor) && Clock::now() < *killAt)
            waitForProcess(survivor, std::chrono::ceil<milliseconds>(*killAt - Clock::now()));
        signalProcess(survivor, SIGKILL);
    }
    ::kill(-pid, SIGKILL);
}

} // namespace ovalin
