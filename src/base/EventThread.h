#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

#include <QtGlobal>

namespace ovalin {

/// A point of the monotonic clock.
using Deadline = std::chrono::steady_clock::time_point;

[[nodiscard]] inline Deadline deadlineIn(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

/// Milliseconds for poll(): rounded up, so that a loop never spins through the last fraction; 0 when it has passed.
[[nodiscard]] int pollTimeout(Deadline deadline);

/// One thread with a connection of its own to a server that tells of events. Everything on it is a short reaction to an
/// event, a timer, a ready descriptor or a posted task; nothing waits there, so a peer that never answers holds up
/// nobody else. It sleeps in poll() until something happens. When the server goes away the thread ends; tasks are then
/// dropped and questions answered with nothing.
class EventThread {
public:
    using Task = std::function<void()>;

    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// False when there is no server, or no longer. Any thread.
    [[nodiscard]] bool alive() const { return !ended.load(); }

    /// Runs `task` on the thread, after everything posted before. Any thread; dropped when the thread has ended.
    void post(Task task);

    /// Runs `task` on the thread and waits for it, for set-up and tear-down; here when the thread has ended. A server
    /// that hangs for two seconds is given up for good. Any thread but this one.
    void runAndWait(const Task& task);

    /// Calls `work` on the thread and waits for the answer that it gives, at once or in a later reaction: nothing at
    /// the deadline, or when the server is gone. Worker threads. `work` may run or answer after the caller gave up: it
    /// must not refer to the caller's variables.
    template <class T>
    [[nodiscard]] std::optional<T> ask(Deadline deadline, std::function<void(std::function<void(T)> answer)> work) {
        auto answer = std::make_shared<std::optional<T>>(); // guarded by `mutex`
        post([this, answer, work = std::move(work)] {
            work([this, answer](T value) {
                {
                    const std::lock_guard lock(mutex);
                    answer->emplace(std::move(value));
                }
                changed.notify_all();
            });
        });
        std::unique_lock lock(mutex);
        changed.wait_until(lock, deadline, [&] { return answer->has_value() || ended.load(); });
        return std::move(*answer);
    }

    /// Calls `function` on the thread and waits for what it returns. As ask().
    template <class Function>
    [[nodiscard]] auto call(Deadline deadline, Function function) -> std::optional<std::invoke_result_t<Function>> {
        using Result = std::invoke_result_t<Function>;
        return ask<Result>(deadline, [function](std::function<void(Result)> answer) { answer(function()); });
    }

    // On the thread only, or before and after it runs:

    quint64 at(Deadline time, Task task);
    void cancelTimer(quint64 id);

    /// Calls `ready` whenever poll() finds one of `events`, or an error, at the descriptor.
    void watch(int descriptor, short events, Task ready) { watched[descriptor] = {events, std::move(ready)}; }
    void unwatch(int descriptor) { watched.erase(descriptor); }

    /// How often poll() has returned. Any thread.
    [[nodiscard]] quint64 wakeups() const { return rounds.load(); }

protected:
    EventThread() = default;
    ~EventThread() = default;

    /// Last in the constructor, when there is a server; else the thread is one that has ended.
    void begin();
    /// First in the destructor, or before: nothing that was posted, timed or asked for happens any more.
    void finish();

private:
    [[nodiscard]] virtual int descriptor() const = 0;
    [[nodiscard]] virtual bool connected() const = 0;
    /// Sends what is waiting to be sent, and reacts to what has come: whether something had.
    virtual bool react() = 0;
    /// What did not fit into the socket waits.
    [[nodiscard]] virtual bool hasMoreToSend() const { return false; }
    /// The server went away.
    virtual void lost() = 0;

    struct Watch {
        short events;
        Task ready;
    };

    void run();
    bool runDueTimer();
    bool runTask();
    void sleep();
    void end();
    void wake() const;
    void waitOrBreak(std::unique_lock<std::mutex>& lock, const std::function<bool()>& finished);

    int wakeDescriptor = -1;
    std::multimap<Deadline, std::pair<quint64, Task>> timers;
    quint64 lastTimer = 0;
    std::map<int, Watch> watched;

    std::mutex mutex; // of `tasks`, and of the answers to ask()
    std::condition_variable changed;
    std::deque<Task> tasks;
    std::atomic<bool> stopping{false};
    std::atomic<bool> ended{true};
    std::atomic<quint64> rounds{0};
    std::thread thread;
};

} // namespace ovalin
