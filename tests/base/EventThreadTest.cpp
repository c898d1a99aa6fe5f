#include "base/EventThread.h"

#include "support/Testing.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

/// The other end of its connection is the test's.
class Served final : public EventThread {
public:
    Served() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        begin();
    }
    ~Served() {
        finish();
        ::close(ends[0]);
        closeServer();
    }
    void closeServer() { ::close(std::exchange(ends[1], -1)); }

    int ends[2]{};
    std::atomic<int> received = 0, losses = 0;

private:
    [[nodiscard]] int descriptor() const override { return ends[0]; }
    [[nodiscard]] bool connected() const override { return !gone; }
    bool react() override {
        char byte;
        const auto count = ::recv(ends[0], &byte, 1, MSG_DONTWAIT);
        gone = count == 0;
        received += count == 1;
        return count == 1;
    }
    void lost() override { ++losses; }

    bool gone = false; // on the thread
};

} // namespace

TEST(EventThread, TimersRunInTheirOrderAndCancelledOnesNot) {
    Served thread;
    const auto order = thread.ask<std::string>(deadlineIn(10s), [&thread](auto answer) {
        auto seen = std::make_shared<std::string>();
        thread.at(deadlineIn(20ms), [seen, answer] { answer(*seen + "c"); });
        thread.at(deadlineIn(2ms), [seen] { *seen += "b"; });
        thread.cancelTimer(thread.at(deadlineIn(1ms), [seen] { *seen += "x"; }));
        *seen += "a";
    });
    EXPECT_EQ(order, "abc");
}

TEST(EventThread, AQuestionNobodyAnswersEndsAtItsDeadline) {
    Served thread;
    EXPECT_EQ(thread.ask<int>(deadlineIn(20ms), [](const auto&) {}), std::nullopt);
    EXPECT_EQ(thread.call(deadlineIn(10s), [] { return 5; }), 5);
}

TEST(EventThread, SleepsUntilTheServerOrAWatchedDescriptorHasSomething) {
    Served thread;
    ASSERT_TRUE(thread.call(deadlineIn(10s), [] { return true; }));
    const quint64 before = thread.wakeups();
    const auto later = [&thread](auto answer) { thread.at(deadlineIn(50ms), [answer] { answer(true); }); };
    EXPECT_TRUE(thread.ask<bool>(deadlineIn(10s), later));
    EXPECT_LE(thread.wakeups(), before + 4) << "the task, the timer, and one on its way to sleep";
    ASSERT_EQ(::write(thread.ends[1], "ab", 2), 2);
    EXPECT_TRUE(waitUntil([&] { return thread.received == 2; }));

    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    std::atomic<int> calls = 0;
    thread.runAndWait([&] {
        thread.watch(pipe[0], POLLIN, [&] {
            ++calls;
            thread.unwatch(pipe[0]);
        });
    });
    EXPECT_EQ(calls, 0);
    ASSERT_EQ(::write(pipe[1], "x", 1), 1);
    EXPECT_TRUE(waitUntil([&] { return calls == 1; }));
    EXPECT_TRUE(thread.ask<bool>(deadlineIn(10s), later));
    EXPECT_EQ(calls, 1) << "it has let go of it";
    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST(EventThread, EndsWithTheServerWithoutASignalAndDropsWhatWasToCome) {
    Served thread;
    std::atomic<bool> failed = false;
    thread.runAndWait([&] {
        thread.closeServer();
        failed = ::write(thread.ends[0], "x", 1) < 0;
    });
    EXPECT_TRUE(failed);
    EXPECT_TRUE(waitUntil([&] { return !thread.alive(); }));
    EXPECT_EQ(thread.losses, 1);
    EXPECT_EQ(thread.call(deadlineIn(1min), [] { return 1; }), std::nullopt);
    bool here = false;
    thread.runAndWait([&] { here = true; });
    EXPECT_TRUE(here) << "what has to be set up or taken down is";
}
