#include "EventThread.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ovalin {

namespace {

constexpr std::chrono::seconds HUNG_SERVER{2};

} // namespace

int pollTimeout(Deadline deadline) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

void EventThread::begin() {
    wakeDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0)
        return;
    ended = false;
    thread = std::thread([this] { run(); });
}

void EventThread::finish() {
    stopping = true;
    wake();
    {
        std::unique_lock lock(mutex);
        waitOrBreak(lock, [this] { return ended.load(); });
    }
    if (thread.joinable())
        thread.join();
    if (wakeDescriptor >= 0)
        ::close(std::exchange(wakeDescriptor, -1));
}

void EventThread::wake() const {
    const quint64 one = 1;
    [[maybe_unused]] const auto written = ::write(wakeDescriptor, &one, sizeof one);
}

void EventThread::post(Task task) {
    {
        const std::lock_guard lock(mutex);
        if (ended)
            return;
        tasks.push_back(std::move(task));
    }
    wake();
}

void EventThread::runAndWait(const Task& task) {
    auto done = std::make_shared<bool>(false);
    post([this, done, task] {
        task();
        const std::lock_guard lock(mutex);
        *done = true;
        changed.notify_all();
    });
    {
        std::unique_lock lock(mutex);
        waitOrBreak(lock, [&] { return *done || ended.load(); });
        if (*done)
            return;
    }
    task();
}

void EventThread::waitOrBreak(std::unique_lock<std::mutex>& lock, const std::function<bool()>& finished) {
    if (changed.wait_for(lock, HUNG_SERVER, finished))
        return;
    ::shutdown(descriptor(), SHUT_RDWR); // frees the thread from a reply that does not come
    changed.wait(lock, finished);
}

quint64 EventThread::at(Deadline time, Task task) {
    timers.emplace(time, std::pair(++lastTimer, std::move(task)));
    return lastTimer;
}

void EventThread::cancelTimer(quint64 id) {
    std::erase_if(timers, [id](const auto& timer) { return timer.second.first == id; });
}

void EventThread::run() {
    // A server that goes away is an error to look at, not a signal.
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
    while (!stopping && connected()) {
        // One task at a time with the events in between, so that what the server sent because of a task, or before it,
        // is handled before the next one.
        const bool hadEvents = react();
        if (runDueTimer() || runTask() || hadEvents)
            continue;
        sleep();
    }
    if (!stopping)
        lost();
    end();
}

bool EventThread::runDueTimer() {
    if (timers.empty() || timers.begin()->first > std::chrono::steady_clock::now())
        return false;
    const auto timer = timers.extract(timers.begin());
    timer.mapped().second();
    return true;
}

bool EventThread::runTask() {
    Task task;
    {
        const std::lock_guard lock(mutex);
        if (tasks.empty())
            return false;
        task = std::move(tasks.front());
        tasks.pop_front();
    }
    task();
    return true;
}

void EventThread::sleep() {
    const auto mine = static_cast<short>(hasMoreToSend() ? POLLIN | POLLOUT : POLLIN);
    std::vector<pollfd> ready{{descriptor(), mine, 0}, {wakeDescriptor, POLLIN, 0}};
    for (const auto& [each, watch] : watched)
        ready.push_back({each, watch.events, 0});
    ::poll(ready.data(), ready.size(), timers.empty() ? -1 : pollTimeout(timers.begin()->first));
    ++rounds;
    quint64 count = 0;
    [[maybe_unused]] const auto got = ::read(wakeDescriptor, &count, sizeof count);
    for (size_t i = 2; i < ready.size(); ++i) {
        const auto watch = watched.find(ready[i].fd); // a reaction before this one may have let go of it
        if (ready[i].revents == 0 || watch == watched.end())
            continue;
        const Task reaction = watch->second.ready; // which may let go of itself
        reaction();
    }
}

void EventThread::end() {
    timers.clear();
    watched.clear();
    std::deque<Task> dropped; // destroyed without the lock: a task may own anything
    {
        const std::lock_guard lock(mutex);
        ended = true;
        dropped.swap(tasks);
    }
    changed.notify_all();
}

} // namespace ovalin
