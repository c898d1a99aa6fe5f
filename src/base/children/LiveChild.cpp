#include "LiveChild.h"

#include "ProcessTree.h"
#include "Spawn.h"

#include <QUuid>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <future>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace ovalin {

namespace {

using Clock = std::chrono::steady_clock;

const QString MARK = QStringLiteral("OVALIN_CHAT_PROCESS");

// Threads that still see a child to its end.
struct Ending {
    std::mutex mutex;
    std::condition_variable changed;
    int threads = 0;
};

Ending& ending() {
    static Ending theEnding;
    return theEnding;
}

void countThread(int change) {
    const std::lock_guard lock(ending().mutex);
    ending().threads += change;
    ending().changed.notify_all();
}

} // namespace

class LiveChild::Loop {
public:
    Loop(pid_t child, QByteArray itsMark, Descriptor feed, Descriptor drain, Handlers theHandlers)
        : pid(child)
        , mark(std::move(itsMark))
        , processFd(openProcess(child))
        , in(std::move(feed))
        , out(std::move(drain))
        , wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , handlers(std::move(theHandlers)) {}

    void run() {
        while (!hasEnded()) {
            takeOrders();
            if (killAt && !killed && Clock::now() >= *killAt)
                killAll();
            waitForNews();
        }
        drainRest();
        alive = false;
        if (!orderedToEnd())
            handlers.ended(howItEnded());
        handlers = {};
        endSurvivors();
        while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    void post(QByteArray bytes) {
        {
            const std::lock_guard lock(mutex);
            orders.push_back(std::move(bytes));
        }
        wake();
    }
    void orderEnd() {
        endOrdered = true;
        wake();
    }
    void wake() const {
        const quint64 one = 1;
        [[maybe_unused]] const auto written = ::write(wakeFd.get(), &one, sizeof one);
    }
    [[nodiscard]] bool isAlive() const { return alive; }

private:
    [[nodiscard]] bool orderedToEnd() const { return endOrdered; }

    /// Only looks: the pid, and with it the group's number, stays ours until waitpid().
    bool hasEnded() const {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == pid;
    }

    [[nodiscard]] ChildEnd howItEnded() const {
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
        return {info.si_code == CLD_EXITED ? ChildEnd::Kind::Exited : ChildEnd::Kind::Killed, info.si_status, {}};
    }

    void takeOrders() {
        {
            const std::lock_guard lock(mutex);
            for (QByteArray& bytes : orders)
                unsent.push_back(std::move(bytes));
            orders.clear();
        }
        if (!in && !unsent.empty())
            refuse(EPIPE); // nobody has read what came before either
        if (orderedToEnd() && !killAt) {
            in.close();
            unsent.clear();
            descendants = descendantsOf(pid);
            ::kill(-pid, SIGTERM);
            killAt = Clock::now() + GRACE;
        }
    }

    void killAll() {
        for (const Descriptor& later : descendantsOf(pid))
            signalProcess(later, SIGKILL);
        ::kill(-pid, SIGKILL);
        killed = true;
    }

    void waitForNews() {
        const std::span<char> room = out && !orderedToEnd() ? handlers.room() : std::span<char>(scratch);
        std::array<pollfd, 4> news{{{processFd.get(), POLLIN, 0},
                                    {unsent.empty() ? -1 : in.get(), POLLOUT, 0},
                                    {room.empty() ? -1 : out.get(), POLLIN, 0},
                                    {wakeFd.get(), POLLIN, 0}}};
        if (::poll(news.data(), news.size(), patience()) <= 0)
            return;
        if (news[2].revents != 0)
            drain(room); // first: it may say why nobody reads
        if (news[1].revents != 0)
            feed();
        if (news[3].revents != 0) {
            quint64 count = 0;
            [[maybe_unused]] const auto got = ::read(wakeFd.get(), &count, sizeof count);
        }
    }

    /// Milliseconds until the next thing that we do by the clock.
    [[nodiscard]] int patience() const {
        using std::chrono::milliseconds;
        milliseconds wait = processFd ? milliseconds(60000) : milliseconds(20); // no pidfd: look now and then
        if (killAt && !killed)
            wait = std::min(wait, std::chrono::ceil<milliseconds>(*killAt - Clock::now()));
        return static_cast<int>(std::max(wait, milliseconds(0)).count());
    }

    void feed() {
        const QByteArray& first = unsent.front();
        const auto count = ::write(in.get(), first.constData() + fed, static_cast<size_t>(first.size() - fed));
        if (count < 0) {
            if (wouldBlock())
                return;
            refuse(errno);
            return;
        }
        fed += count;
        if (fed == first.size()) {
            unsent.pop_front();
            fed = 0;
        }
    }

    void refuse(int error) {
        in.close();
        unsent.clear();
        fed = 0;
        if (!orderedToEnd())
            handlers.refused(qt_error_string(error));
    }

    /// How many bytes there were.
    size_t drain(std::span<char> room) {
        const auto count = ::read(out.get(), room.data(), room.size());
        if (count < 0 && wouldBlock())
            return 0;
        if (count <= 0) {
            out.close();
            return 0;
        }
        if (room.data() != scratch.data())
            handlers.printed(static_cast<size_t>(count));
        return static_cast<size_t>(count);
    }

    /// What stands in the pipe when the child has ended; what its own children print from then on is not read.
    void drainRest() {
        int standing = 0;
        if (!out || ::ioctl(out.get(), FIONREAD, &standing) != 0)
            return;
        for (auto left = static_cast<size_t>(standing); left > 0 && out && !orderedToEnd();) {
            const std::span<char> room = handlers.room();
            if (room.empty()) { // somebody has to make room first
                std::array<pollfd, 1> news{{{wakeFd.get(), POLLIN, 0}}};
                ::poll(news.data(), news.size(), 1000);
                quint64 count = 0;
                [[maybe_unused]] const auto got = ::read(wakeFd.get(), &count, sizeof count);
                continue;
            }
            const size_t count = drain(room.first(std::min(room.size(), left)));
            if (count == 0)
                return;
            left -= count;
        }
    }

    /// Whoever passed over SIGTERM, or runs in a session of its own where the group's signal does not reach. Of a child
    /// that ended by itself the tree is gone: those that it has started are known by their environment.
    void endSurvivors() {
        if (!killAt) {
            ::kill(-pid, SIGTERM);
            killAt = Clock::now() + GRACE;
            descendants = processesWith(mark);
        }
        for (const Descriptor& survivor : descendants)
            signalProcess(survivor, SIGTERM);
        for (const Descriptor& survivor : descendants) {
            while (!processHasEnded(survivor) && Clock::now() < *killAt)
                waitForProcess(survivor, std::chrono::ceil<std::chrono::milliseconds>(*killAt - Clock::now()));
            signalProcess(survivor, SIGKILL);
        }
        ::kill(-pid, SIGKILL);
    }

    const pid_t pid;
    const QByteArray mark; // "NAME=value" in the environment of it and of all that it starts
    const Descriptor processFd;
    Descriptor in, out;
    const Descriptor wakeFd;
    Handlers handlers;

    std::mutex mutex;
    std::deque<QByteArray> orders; // under the mutex
    std::atomic<bool> endOrdered = false, alive = true;

    std::deque<QByteArray> unsent;
    qsizetype fed = 0;
    std::vector<Descriptor> descendants; // when it was told to end
    std::optional<Clock::time_point> killAt;
    bool killed = false;
    std::array<char, 65536> scratch{};
};

tl::expected<std::unique_ptr<LiveChild>, QString> LiveChild::start(const ChildCommand& command, Handlers handlers) {
    auto input = makePipe();
    if (!input)
        return tl::unexpected(input.error());
    auto output = makePipe();
    if (!output)
        return tl::unexpected(output.error());
    makeNonBlocking(input->write);
    ::fcntl(input->write.get(), F_SETPIPE_SZ, 1 << 20); // a screenshot in a few turns; as it was when that is refused
    makeNonBlocking(output->read);
    ChildCommand marked = command;
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    marked.variables.insert(MARK, id);
    // The child ends with the thread that starts it: so with this one, which sees it to its end, and with no other.
    std::promise<tl::expected<std::shared_ptr<Loop>, QString>> started;
    auto result = started.get_future();
    countThread(1);
    try {
        std::thread([marked = std::move(marked), mark = (MARK + QLatin1Char('=') + id).toUtf8(),
                     input = std::move(*input), output = std::move(*output), handlers = std::move(handlers),
                     started = std::move(started)]() mutable {
            const auto pid = spawnChild(marked, input.read.get(), output.write.get(), ChildGroup::Own);
            input.read.close();
            output.write.close();
            if (pid) {
                auto loop = std::make_shared<Loop>(*pid, mark, std::move(input.write), std::move(output.read),
                                                   std::move(handlers));
                started.set_value(loop);
                loop->run();
            } else {
                started.set_value(tl::unexpected(pid.error()));
            }
            countThread(-1);
        }).detach();
    } catch (const std::system_error& error) {
        countThread(-1);
        return tl::unexpected(QString::fromUtf8(error.what()));
    }
    return result.get().map(
        [](std::shared_ptr<Loop> loop) { return std::unique_ptr<LiveChild>(new LiveChild(std::move(loop))); });
}

LiveChild::LiveChild(std::shared_ptr<Loop> theLoop)
    : loop(std::move(theLoop)) {}

LiveChild::~LiveChild() { terminate(); }

bool LiveChild::running() const { return loop->isAlive(); }

void LiveChild::write(QByteArray bytes) { loop->post(std::move(bytes)); }

void LiveChild::wake() { loop->wake(); }

void LiveChild::terminate() { loop->orderEnd(); }

void LiveChild::awaitEnds() {
    std::unique_lock lock(ending().mutex);
    ending().changed.wait_for(lock, GRACE + std::chrono::seconds(1), [] { return ending().threads == 0; });
}

} // namespace ovalin
