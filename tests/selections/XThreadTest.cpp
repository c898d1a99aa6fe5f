#include "XSide.h"

TEST(XThread, WithoutADisplayEveryQuestionIsAnsweredWithNothing) {
    XConnection nowhere(":4711");
    EXPECT_EQ(nowhere.atom("CLIPBOARD"), XCB_ATOM_NONE);
    EXPECT_EQ(nowhere.makeHiddenWindow(0), XCB_WINDOW_NONE);
    EXPECT_FALSE(nowhere.serverTime(deadlineIn(1s)));
    XThread thread(":4711");
    EXPECT_FALSE(thread.alive());
    EXPECT_EQ(thread.call(deadlineIn(1min), [] { return 1; }), std::nullopt);
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors(thread, clock, synthetic);
    monitors.setKeyboardOurs(true);
    X11Pasteboard pasteboard(thread, clock);
    EXPECT_EQ(pasteboard.primaryText(1, Pasteboard::Freshness::Any), std::nullopt);
    EXPECT_FALSE(pasteboard.snapshot());
    pasteboard.restore({});
    pasteboard.readText(Pasteboard::Selection::Clipboard, qApp, [](const QString&) { FAIL(); });
}

TEST(XThread, TimersRunInTheirOrderAndCancelledOnesNot) {
    XThread thread;
    const auto order = thread.ask<std::string>(deadlineIn(10s), [&thread](auto answer) {
        auto seen = std::make_shared<std::string>();
        thread.at(deadlineIn(20ms), [seen, answer] { answer(*seen + "c"); });
        thread.at(deadlineIn(2ms), [seen] { *seen += "b"; });
        thread.cancelTimer(thread.at(deadlineIn(1ms), [seen] { *seen += "x"; }));
        *seen += "a";
    });
    EXPECT_EQ(order, "abc");
}

TEST(XThread, AQuestionNobodyAnswersEndsAtItsDeadline) {
    XThread thread;
    EXPECT_EQ(thread.ask<int>(deadlineIn(20ms), [](const auto&) {}), std::nullopt);
    EXPECT_EQ(thread.call(deadlineIn(10s), [] { return 5; }), 5);
}

TEST(XThread, SleepsWhileNothingHappens) {
    XThread thread;
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors(thread, clock, synthetic);
    X11Pasteboard pasteboard(thread, clock);
    settle(thread);
    const quint64 before = thread.wakeups();
    desk().output(u"sleep"_s, {u"0.5"_s});
    EXPECT_LE(thread.wakeups(), before + 1) << "the last one may still be on its way to sleep";
}

TEST(XThread, EndsQuietlyWithTheServerAndFreesWhoWaits) {
    auto server =
        std::make_unique<TestDesk>(TestDesk::Options{TestDesk::WindowManager::None, false, u"64x64x24"_s, {}});
    XThread thread(server->display().toUtf8());
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors(thread, clock, synthetic);
    X11Pasteboard pasteboard(thread, clock);
    settle(thread);
    ASSERT_TRUE(clock.read().watching);

    std::atomic<bool> freed = false;
    std::thread waiting([&] { freed = thread.ask<int>(deadlineIn(1min), [](const auto&) {}) == std::nullopt; });
    server.reset();
    waiting.join();
    EXPECT_TRUE(freed);
    EXPECT_FALSE(thread.alive());
    EXPECT_FALSE(pasteboard.snapshot());
    monitors.setKeyboardOurs(true);
}
