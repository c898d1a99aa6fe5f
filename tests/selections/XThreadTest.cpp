#include "XSide.h"

TEST(XThread, WithoutADisplayEveryQuestionIsAnsweredWithNothing) {
    XConnection nowhere(":4711");
    EXPECT_EQ(nowhere.atom("CLIPBOARD"), XCB_ATOM_NONE);
    EXPECT_EQ(nowhere.makeHiddenWindow(0), XCB_WINDOW_NONE);
    EXPECT_FALSE(nowhere.serverTime(deadlineIn(1s)));
    XSide x(":4711");
    EXPECT_FALSE(x.thread.alive());
    EXPECT_EQ(x.thread.call(deadlineIn(1min), [] { return 1; }), std::nullopt);
    x.monitors.setKeyboardOurs(true);
    EXPECT_EQ(x.pasteboard.primaryText(1, Pasteboard::Freshness::Any), std::nullopt);
    EXPECT_FALSE(x.pasteboard.snapshot());
    x.pasteboard.restore({});
    x.pasteboard.readText(Pasteboard::Selection::Clipboard, qApp, [](const QString&) { FAIL(); });
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
    XSide x;
    settle(x.thread);
    const quint64 before = x.thread.wakeups();
    desk().output(u"sleep"_s, {u"0.5"_s});
    EXPECT_LE(x.thread.wakeups(), before + 1) << "the last one may still be on its way to sleep";
}

TEST(XThread, EndsQuietlyWithTheServerAndFreesWhoWaits) {
    auto server =
        std::make_unique<TestDesk>(TestDesk::Options{TestDesk::WindowManager::None, false, u"64x64x24"_s, {}});
    XSide x(server->display().toUtf8());
    settle(x.thread);
    ASSERT_TRUE(x.clock.read().watching);

    std::atomic<bool> freed = false;
    std::thread waiting([&] { freed = x.thread.ask<int>(deadlineIn(1min), [](const auto&) {}) == std::nullopt; });
    server.reset();
    waiting.join();
    EXPECT_TRUE(freed);
    EXPECT_FALSE(x.thread.alive());
    EXPECT_FALSE(x.pasteboard.snapshot());
    x.monitors.setKeyboardOurs(true);
}
