#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace ovalin {

/// Where background work runs. `Files` runs one piece after another, in the order given; `Jobs` is for what may take
/// minutes or hang, such as an agent, and takes no worker from the others.
enum class Queue { UserInitiated, Utility, Files, Jobs };

/// Clock, delays and background work, so that tests can put a virtual clock and threads of their own in its place.
class Dispatch {
public:
    using Work = std::function<void()>;

    Dispatch() = default;
    Dispatch(const Dispatch&) = delete;
    Dispatch& operator=(const Dispatch&) = delete;
    virtual ~Dispatch() = default;

    /// Monotonic time in seconds. Any thread.
    [[nodiscard]] virtual double now() const = 0;

    /// The wall clock, UTC. Any thread.
    [[nodiscard]] virtual QDateTime wallClock() const = 0;

    /// Calls `work` on the main thread after `delay`, unless `context` is gone by then. Main thread.
    virtual void after(std::chrono::milliseconds delay, QObject* context, Work work) = 0;

    /// Waits. Worker threads.
    virtual void sleep(std::chrono::milliseconds time) = 0;

    /// Calls `work` on the main thread as soon as it is free. Any thread.
    virtual void toMain(Work work) = 0;

    /// Calls `work` on a background queue. Any thread. Prefer inBackground(), which brings the result back.
    virtual void run(Queue queue, Work work) = 0;

    /// Runs `work` on a background queue and hands what it returns to `done` on the main thread; `done` is dropped
    /// when `context` is gone by then. Main thread. `work` must not touch `context`.
    template <class Function, class Done>
    void inBackground(Queue queue, QObject* context, Function work, Done done) {
        QPointer<QObject> guard(context);
        run(queue, [this, guard, work = std::move(work), done = std::move(done)]() mutable {
            if constexpr (std::is_void_v<std::invoke_result_t<Function>>) {
                work();
                toMain([guard, done = std::move(done)] {
                    if (guard)
                        done();
                });
            } else {
                auto result = std::make_shared<std::invoke_result_t<Function>>(work());
                toMain([guard, result, done = std::move(done)] {
                    if (guard)
                        done(std::move(*result));
                });
            }
        });
    }
};

/// The real one: Qt's event loop and two thread pools. Made and destroyed on the main thread.
class QtDispatch final : public Dispatch {
public:
    QtDispatch();
    ~QtDispatch() override;

    /// Waits for all file work that was begun and at most 2 s for the rest; work that hangs longer ends the process
    /// there and then with `status`, everything being saved. Main thread.
    void finish(int status = 0);

    [[nodiscard]] double now() const override;
    [[nodiscard]] QDateTime wallClock() const override;
    void after(std::chrono::milliseconds delay, QObject* context, Work work) override;
    void sleep(std::chrono::milliseconds time) override;
    void toMain(Work work) override;
    void run(Queue queue, Work work) override;

private:
    struct Pools;
    std::unique_ptr<Pools> pools;
};

} // namespace ovalin
