#include "XSide.h"

#include "platform/x11/input/OwnPresses.h"

#include <QRect>
#include <QTest>
#include <QWidget>

#include <X11/keysym.h>
#include <xcb/xtest.h>

namespace {

struct MonitorsTest : testing::Test, XSide {
    MonitorsTest() {
        hint = monitors.onMaybeChanged([this] { ++hints; });
        settle(thread);
    }

    void xdo(const QString& arguments) {
        desk().xdotool(arguments.split(u' '));
        settle(thread);
    }

    /// How many hints came of the keys. The X thread has posted all it had to by then; a marker comes behind it.
    int of(const QString& arguments) {
        hints = 0;
        xdo(arguments);
        bool reached = false;
        QMetaObject::invokeMethod(
            qApp, [&] { reached = true; }, Qt::QueuedConnection);
        waitUntil([&] { return reached; });
        return hints;
    }

    SelectionHints::Handle hint = 0;
    int hints = 0;
};

const QRect OURS(100, 100, 200, 200);

} // namespace

TEST_F(MonitorsTest, TheKeysThatSelectAreHints) {
    EXPECT_EQ(of(u"key --delay 0 shift+Right shift+Right Right b ctrl+a ctrl+shift+Down"_s), 4);
}

TEST_F(MonitorsTest, WhatIsTypedWhileTheKeyboardIsOursIsNotSeen) {
    monitors.setKeyboardOurs(true);
    xdo(u"type --delay 0 secret"_s);
    xdo(u"keydown shift"_s);
    const auto press = clock.read().lastPress;
    EXPECT_EQ(press, std::nullopt);
    monitors.setKeyboardOurs(false);
    settle(thread);
    EXPECT_EQ(of(u"key Right keyup shift"_s), 1)
        << "a Shift held since then is known, and nothing came of what was typed";
}

TEST_F(MonitorsTest, RemovedMonitorsHearNothing) {
    monitors.removeHint(hint);
    int presses = 0;
    const auto handle = monitors.onPressOutside([&](quint32) { ++presses; });
    EXPECT_EQ(of(u"key shift+Right mousemove 600 400 click 1"_s), 0);
    EXPECT_EQ(presses, 1);
    monitors.removeHint(handle);
}

TEST_F(MonitorsTest, ButtonsCountOutsideOurWindowsByWhereTheyWentDown) {
    monitors.setOwnWindows([](QPoint at, quint32, quint32) { return OURS.contains(at); });
    std::string log;
    (void)monitors.onMaybeChanged([&] { log += 'u'; });
    (void)monitors.onPressOutside([&](quint32) { log += 'p'; });
    const struct {
        const char* why;
        QString actions;
        std::string expected;
    } rows[] = {
        {"inside", u"mousemove 150 150 click 1"_s, ""},
        {"outside", u"mousemove 600 400 click 1"_s, "pu"},
        {"another button", u"mousemove 600 400 click 3"_s, "p"},
        {"the wheel", u"mousemove 600 400 click 4 click 5"_s, ""},
        {"a drag from the other application into ours",
         u"mousemove 600 400 mousedown 1 sleep 0.1 mousemove 150 150 mouseup 1"_s, "pu"},
        {"a drag of ours", u"mousemove 150 150 mousedown 1 sleep 0.1 mousemove 600 400 mouseup 1"_s, ""},
    };
    for (const auto& row : rows) {
        of(row.actions);
        EXPECT_EQ(log, row.expected) << row.why;
        log.clear();
    }
}

TEST_F(MonitorsTest, APressThatClosesOurWindowIsOursHoweverLateItIsLookedAt) {
    struct Closing : QWidget {
        using QWidget::QWidget;
        void mousePressEvent(QMouseEvent*) override { hide(); }
    } window(nullptr, Qt::BypassWindowManagerHint | Qt::FramelessWindowHint);
    window.setGeometry(OURS);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const OwnPresses own;
    std::optional<bool> ours;
    monitors.setOwnWindows([&](QPoint, quint32, quint32 time) { return *(ours = own.includes(time)); });
    std::promise<void> gone;
    thread.post([&] { gone.get_future().wait(); });
    desk().xdo(u"mousemove 150 150 click 1"_s);
    EXPECT_TRUE(waitUntil([&] { return !window.isVisible(); }));
    gone.set_value();
    EXPECT_TRUE(waitUntil([&] { return ours.has_value(); }));
    EXPECT_EQ(ours, true);
    xdo(u"mousemove 600 400 click 1"_s);
    EXPECT_TRUE(waitUntil([&] { return ours == false; }));
}

TEST_F(MonitorsTest, AClickIntoOurOwnWindowIsTakenBackFromTheClock) {
    xdo(u"mousemove 600 400 click 1"_s);
    const auto before = clock.read().lastPress;
    monitors.setOwnWindows([](QPoint at, quint32, quint32) { return OURS.contains(at); });
    xdo(u"mousemove 150 150 click 1"_s);
    EXPECT_TRUE(waitUntil([&] { return clock.read().lastPress == before; }));
}

TEST_F(MonitorsTest, KeysWeSendOurselvesAreNotTheUsers) {
    XConnection sender;
    const auto before = clock.read().lastPress;
    synthetic.begin();
    EXPECT_EQ(of(u"key shift+Right"_s), 0);
    synthetic.end(sender.serverTime(deadlineIn(10s)).value_or(0));
    EXPECT_EQ(clock.read().lastPress, before);
    EXPECT_EQ(of(u"key ctrl+a"_s), 1) << "only what came after";
    EXPECT_NE(clock.read().lastPress, before);
}

TEST_F(MonitorsTest, AnEventReadAfterTheSendingIsStillOurs) {
    synthetic.end(5000); // as if begin() was long ago
    synthetic.begin();
    EXPECT_TRUE(synthetic.ours(4990));
    EXPECT_TRUE(synthetic.ours(5000));
    EXPECT_FALSE(synthetic.ours(5001));
    EXPECT_FALSE(synthetic.ours(5000u - 60000u));
    EXPECT_FALSE(synthetic.ours(5000u + 0x90000000u)) << "weeks later";
}

TEST_F(MonitorsTest, ANewKeyboardMapIsTakenOver) {
    constexpr quint8 F12 = 96;
    XConnection server;
    const auto map = [&](quint32 symbol) {
        xcb_change_keyboard_mapping(server.get(), 1, F12, 1, &symbol);
        (void)server.serverTime(deadlineIn(10s));
        settle(thread);
    };
    const auto press = [&] {
        for (const quint8 type : {quint8{XCB_KEY_PRESS}, quint8{XCB_KEY_RELEASE}})
            xcb_test_fake_input(server.get(), type, F12, 0, XCB_NONE, 0, 0, 0);
        (void)server.serverTime(deadlineIn(10s));
    };
    xdo(u"keydown shift"_s);
    map(XK_Right);
    press();
    EXPECT_TRUE(waitUntil([this] { return hints == 1; }));
    map(XK_F12);
    press();
    EXPECT_EQ(of(u"keyup shift"_s), 0);
}
