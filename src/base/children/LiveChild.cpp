#include "LiveChild.h"

#include "ChildLoop.h"
#include "Supervisor.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>

namespace ovalin {

namespace {

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

class LiveChild::Loop final : public ChildLoop {
public:
    Loop(StartedChild child, const QByteArray& itsMark, Handlers theHandlers)
        : ChildLoop(std::move(child), GRACE, itsMark)
        , handlers(std::move(theHandlers)) {}

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
    [[nodiscard]] bool isAlive() const { return alive; }

private:
    void look() override {
        std::vector<QByteArray> taken;
        {
            const std::lock_guard lock(mutex);
            taken.swap(orders);
        }
        for (const QByteArray& bytes : taken)
            send(bytes);
        if (endOrdered)
            terminate();
    }
    std::span<char> room() override {
        unheard = endOrdered;
        return unheard ? std::span<char>(scratch) : handlers.room();
    }
    void printed(size_t count) override {
        if (!unheard)
            handlers.printed(count);
    }
    void refused(int error) override {
        if (!endOrdered)
            handlers.refused(qt_error_string(error));
    }
    void hasEnded(const ChildEnd& how) override {
        alive = false;
        if (!endOrdered)
            handlers.ended(how);
        handlers = {};
    }

    Handlers handlers;
    std::mutex mutex;
    std::vector<QByteArray> orders; // under the mutex
    std::atomic<bool> endOrdered = false, alive = true;
    bool unheard = false; // what is read now
    std::array<char, 65536> scratch{};
};

tl::expected<std::unique_ptr<LiveChild>, QString> LiveChild::start(const ChildCommand& command, Handlers handlers) {
    // The child ends with the thread that starts it: so with this one, which sees it to its end, and with no other.
    std::promise<tl::expected<std::shared_ptr<Loop>, QString>> started;
    auto result = started.get_future();
    countThread(1);
    try {
        std::thread([with = supervised(command), handlers = std::move(handlers),
                     started = std::move(started)]() mutable {
            if (auto child = startChild(with.command, ChildInput::Pipe)) {
                auto loop = std::make_shared<Loop>(std::move(*child), with.mark, std::move(handlers));
                started.set_value(loop);
                loop->run();
            } else {
                started.set_value(tl::unexpected(child.error()));
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
