#pragma once

#include "XConnection.h"

#include <atomic>
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

namespace ovalin {

/// One thread with a connection to the X server of its own. Everything on it is a short reaction to an event, a timer
/// or a posted task; nothing waits there, so a selection owner that never answers holds up nobody else. It sleeps in
/// poll() until something happens. When the server goes away the thread ends; tasks are then dropped and questions
/// answered with nothing.
class XThread {
public:
    using Task = std::function<void()>;
    using Handler = std::function<void(const xcb_generic_event_t&)>;

    /// Connects to `display` ($DISPLAY when empty). Without a server the object is usable and answers nothing.
    explicit XThread(const QByteArray& display = {});
    ~XThread();
    XThread(const XThread&) = delete;
    XThread& operator=(const XThread&) = delete;

    /// False when there is no X server, or no longer. Any thread.
    [[nodiscard]] bool alive() const { return !ended.load(); }

    /// Runs `task` on the X thread, after everything posted before. Any thread; dropped when the thread has ended.
    void post(Task task);

    /// Runs `task` on the X thread and waits for it, for set-up and tear-down; here when the thread has ended. A server
    /// that hangs for two seconds is given up for good. Any thread but the X thread.
    void runAndWait(const Task& task);

    /// Calls `work` on the X thread and waits for the answer that it gives, at once or in a later reaction: nothing at
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

    /// Calls `function` on the X thread and waits for what it returns. As ask().
    template <class Function>
    [[nodiscard]] auto call(Deadline deadline, Function function) -> std::optional<std::invoke_result_t<Function>> {
        using Result = std::invoke_result_t<Function>;
        return ask<Result>(deadline, [function](std::function<void(Result)> answer) { answer(function()); });
    }

    // On the X thread only, or before and after it runs:

    [[nodiscard]] XConnection& connection() { return server; }

    /// Calls `handler` for each event of this type: a core type, or `first_event` of an extension plus its number.
    /// Not from inside a handler.
    quint64 onEvent(quint8 type, Handler handler) { return addHandler({type, 0, 0}, std::move(handler)); }
    /// The same for generic events, by the extension's major opcode.
    quint64 onGenericEvent(quint8 extension, quint16 type, Handler handler) {
        return addHandler({XCB_GE_GENERIC, extension, type}, std::move(handler));
    }
    void removeHandler(quint64 id);

    quint64 at(Deadline time, Task task);
    void cancelTimer(quint64 id);

    /// How often poll() has returned. Any thread.
    [[nodiscard]] quint64 wakeups() const { return rounds.load(); }

private:
    struct EventKey {
        quint8 type;
        quint8 extension;
        quint16 genericType;
        bool operator==(const EventKey&) const = default;
    };
    struct HandlerEntry {
        quint64 id;
        EventKey key;
        Handler handle;
    };

    quint64 addHandler(EventKey key, Handler handler);
    void run();
    bool dispatchEvents();
    bool runDueTimer();
    bool runTask();
    void sleep();
    void end();
    void wake() const;
    void waitOrBreak(std::unique_lock<std::mutex>& lock, const std::function<bool()>& finished);

    XConnection server;
    int wakeDescriptor = -1;
    std::vector<HandlerEntry> handlers;
    std::multimap<Deadline, std::pair<quint64, Task>> timers;
    quint64 lastId = 0;

    std::mutex mutex; // of `tasks`, and of the answers to ask()
    std::condition_variable changed;
    std::deque<Task> tasks;
    std::atomic<bool> stopping{false};
    std::atomic<bool> ended{false};
    std::atomic<quint64> rounds{0};
    std::thread thread;
};

} // namespace ovalin
