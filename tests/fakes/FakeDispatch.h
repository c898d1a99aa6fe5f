#pragma once

#include "base/Dispatch.h"
#include "support/Testing.h"

#include <deque>

namespace ovalin {

/// A dispatch whose clock stands still until the test moves it, and whose background work runs when the test says so.
class FakeDispatch final : public Dispatch {
public:
    double seconds = 1000.0;
    QDateTime wall = QDateTime(QDate(2026, 11, 16), QTime(19, 30), QTimeZone::utc());
    bool runAtOnce = true; ///< background work runs inside run(); else it waits for runBackground()

    [[nodiscard]] double now() const override { return seconds; }
    [[nodiscard]] QDateTime wallClock() const override { return wall; }

    void after(std::chrono::milliseconds delay, QObject* context, Work work) override {
        const double due = seconds + static_cast<double>(delay.count()) / 1000.0;
        timers.emplace(due, [guard = QPointer<QObject>(context), work = std::move(work)] {
            if (guard)
                work();
        });
    }
    void sleep(std::chrono::milliseconds time) override { seconds += static_cast<double>(time.count()) / 1000.0; }
    void toMain(Work work) override {
        const std::lock_guard lock(mutex); // a child's thread may have something to tell
        mainQueue.push_back(std::move(work));
    }
    void run(Queue, Work work) override {
        if (runAtOnce)
            work();
        else
            background.push_back(std::move(work));
    }

    /// Runs the background work that waits, in order, or only the `index`-th piece of it; what it brings back stays
    /// queued.
    void runBackground() {
        while (!background.empty())
            runBackgroundAt(0);
    }
    void runBackgroundAt(size_t index) {
        Work work = std::move(background.at(index));
        background.erase(background.begin() + static_cast<std::ptrdiff_t>(index));
        work();
    }
    [[nodiscard]] size_t waiting() const { return background.size(); }

    /// Delivers what waits for the main thread, and what that posts.
    void runMain() {
        const auto next = [this]() -> Work {
            const std::lock_guard lock(mutex);
            if (mainQueue.empty())
                return {};
            Work work = std::move(mainQueue.front());
            mainQueue.pop_front();
            return work;
        };
        for (Work work = next(); work; work = next())
            work();
    }

    /// Runs what waits and what that brings about, until nothing is left.
    void settle() {
        for (int i = 0; i < 10; ++i) {
            runBackground();
            runMain();
        }
    }

    /// Moves the clock, calling each timer at its own time, with the main queue emptied after each.
    void advance(double by) {
        const double end = seconds + by;
        runMain();
        while (!timers.empty() && timers.begin()->first <= end) {
            auto node = timers.extract(timers.begin());
            seconds = std::max(seconds, node.key());
            node.mapped()();
            runMain();
        }
        seconds = end;
    }

private:
    std::multimap<double, Work> timers;
    std::mutex mutex; ///< for the next one
    std::deque<Work> mainQueue;
    std::deque<Work> background;
};

} // namespace ovalin
