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
