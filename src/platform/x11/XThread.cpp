#include "XThread.h"

#include "base/Log.h"

#include <algorithm>
#include <csignal>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds HUNG_SERVER{2};

} // namespace

XThread::XThread(const QByteArray& display)
    : server(display) {
    wakeDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!server.isOpen() || wakeDescriptor < 0) {
        logOnce(u"x-thread-none"_s, u"Ovalin: no X server — selections are not available"_s);
        ended = true;
        return;
    }
    thread = std::thread([this] { run(); });
}

XThread::~XThread() {
    stopping = true;
    wake();
    {
        std::unique_lock lock(mutex);
        waitOrBreak(lock, [this] { return ended.load(); });
    }
    if (thread.joinable())
        thread.join();
    if (wakeDescriptor >= 0)
        ::close(wakeDescriptor);
}

void XThread::wake() const {
    const quint64 one = 1;
    [[maybe_unused]] const auto written = ::write(wakeDescriptor, &one, sizeof one);
}

void XThread::post(Task task) {
    {
        const std::lock_guard lock(mutex);
        if (ended)
            return;
        tasks.push_back(std::move(task));
    }
    wake();
}

void XThread::runAndWait(const Task& task) {
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

void XThread::waitOrBreak(std::unique_lock<std::mutex>& lock, const std::function<bool()>& finished) {
    if (changed.wait_for(lock, HUNG_SERVER, finished))
        return;
    ::shutdown(server.descriptor(), SHUT_RDWR); // frees the thread from a reply that does not come
    changed.wait(lock, finished);
}

quint64 XThread::addHandler(EventKey key, Handler handler) {
    handlers.push_back({++lastId, key, std::move(handler)});
    return lastId;
}

void XThread::removeHandler(quint64 id) {
    std::erase_if(handlers, [id](const HandlerEntry& entry) { return entry.id == id; });
}

quint64 XThread::at(Deadline time, Task task) {
    timers.emplace(time, std::pair(++lastId, std::move(task)));
    return lastId;
}

void XThread::cancelTimer(quint64 id) {
    std::erase_if(timers, [id](const auto& timer) { return timer.second.first == id; });
}

void XThread::run() {
    // A server that goes away is an error to look at, not a signal.
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
    while (!stopping && server.isOpen()) {
        // One task at a time with the events in between, so that what the server sent because of a task, or before it,
        // is handled before the next one.
        xcb_flush(server.get()); // first: a full socket makes it read events meanwhile
        const bool hadEvents = dispatchEvents();
        if (runDueTimer() || runTask() || hadEvents)
            continue;
        sleep();
    }
    if (!stopping)
        logOnce(u"x-server-gone"_s, u"Ovalin: the X server is gone — exiting"_s);
    end();
}

bool XThread::dispatchEvents() {
    bool any = false;
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(server.get())}) {
        any = true;
        EventKey key{static_cast<quint8>(event->response_type & 0x7f), 0, 0};
        // 0 is the error of a request that nobody waits for: a window that just closed, as a rule.
        if (key.type == XCB_GE_GENERIC) {
            const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
            key.extension = generic->extension;
            key.genericType = generic->event_type;
        }
        for (const HandlerEntry& entry : handlers) {
            if (entry.key == key)
                entry.handle(*event);
        }
    }
    return any;
}

bool XThread::runDueTimer() {
    if (timers.empty() || timers.begin()->first > std::chrono::steady_clock::now())
        return false;
    const auto timer = timers.extract(timers.begin());
    timer.mapped().second();
    return true;
}

bool XThread::runTask() {
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

void XThread::sleep() {
    pollfd ready[] = {{server.descriptor(), POLLIN, 0}, {wakeDescriptor, POLLIN, 0}};
    ::poll(ready, 2, timers.empty() ? -1 : pollTimeout(timers.begin()->first));
    ++rounds;
    quint64 count = 0;
    [[maybe_unused]] const auto got = ::read(wakeDescriptor, &count, sizeof count);
}

void XThread::end() {
    timers.clear();
    std::deque<Task> dropped; // destroyed without the lock: a task may own anything
    {
        const std::lock_guard lock(mutex);
        ended = true;
        dropped.swap(tasks);
    }
    changed.notify_all();
}

} // namespace ovalin
