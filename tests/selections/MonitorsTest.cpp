#include "XSide.h"

#include "platform/x11/input/OwnPresses.h"

#include <QApplication>
#include <QRect>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <future>

#include <X11/keysym.h>
#include <xcb/xtest.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

struct MonitorsTest : testing::Test {
    MonitorsTest() {
        keyUps = monitors.onKeyUp([this](const EventMonitors::KeyUp& key) {
            seen += key.key == EventMonitors::Key::Arrow ? 'r' : key.key == EventMonitors::Key::A ? 'a' : 'o';
            if (key.shift)
                seen += '^';
            if (key.command)
                seen += '#';
        });
        settle(thread);
    }

    void xdo(const QString& arguments) {
        desk().xdotool(arguments.split(QLatin1Char(' ')));
        settle(thread);
    }

    /// What came after the keys until a plain arrow, which marks the end.
    std::string until(const QString& arguments) {
        seen.clear();
        xdo(arguments);
        xdo(QStringLiteral("key Left"));
        EXPECT_TRUE(waitUntil([this] { return seen.ends_with("r"); })) << seen;
        return seen;
    }

    XThread thread;
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors{thread, clock, synthetic};
    EventMonitors::Handle keyUps = 0;
    std::string seen;
};

const QRect OURS(100, 100, 200, 200);

} // namespace

TEST_F(MonitorsTest, KeyUpsTellArrowsAndTheAKeyWithShiftAndCtrl) {
    EXPECT_EQ(until(QStringLiteral("key shift+Right")), "r^r");
    EXPECT_EQ(until(QStringLiteral("key Right")), "rr");
    EXPECT_EQ(until(QStringLiteral("key ctrl+a")), "a#r");
    EXPECT_EQ(until(QStringLiteral("key b")), "or");
    EXPECT_EQ(until(QStringLiteral("key --delay 0 shift+Right shift+Right Right ctrl+a ctrl+shift+Down")),
              "r^r^ra#r^#r");
}

TEST_F(MonitorsTest, WhatIsTypedWhileTheKeyboardIsOursIsNotSeen) {
    monitors.setKeyboardOurs(true);
    xdo(QStringLiteral("type --delay 0 secret"));
    xdo(QStringLiteral("keydown shift"));
    const auto press = clock.read().lastPress;
    EXPECT_EQ(press, std::nullopt);
    monitors.setKeyboardOurs(false);
    settle(thread);
    seen.clear();
    xdo(QStringLiteral("key Right"));
    xdo(QStringLiteral("keyup shift"));
    EXPECT_TRUE(waitUntil([this] { return !seen.empty(); }));
    EXPECT_EQ(seen, "r^") << "and a Shift held since then is known";
}

TEST_F(MonitorsTest, RemovedMonitorsHearNothing) {
    monitors.removeMonitor(keyUps);
    int presses = 0;
    const auto handle = monitors.onPressOutside([&](QPoint) { ++presses; });
    seen.clear();
    xdo(QStringLiteral("key shift+Right mousemove 600 400 click 1"));
    EXPECT_TRUE(waitUntil([&] { return presses == 1; }));
    EXPECT_EQ(seen, "");
    monitors.removeMonitor(handle);
}

TEST_F(MonitorsTest, ButtonsCountOutsideOurWindowsByWhereTheyWentDown) {
    monitors.setOwnWindows([](QPoint at, quint32, quint32) { return OURS.contains(at); });
    std::string log;
    (void)monitors.onLeftMouseUp([&] { log += 'u'; });
    (void)monitors.onPressOutside([&](QPoint at) {
        EXPECT_FALSE(OURS.contains(at));
        log += 'p';
    });
    const struct {
        const char* why;
        QString actions;
        std::string expected;
    } rows[] = {
        {"inside", QStringLiteral("mousemove 150 150 click 1"), ""},
        {"outside", QStringLiteral("mousemove 600 400 click 1"), "pu"},
        {"another button", QStringLiteral("mousemove 600 400 click 3"), "p"},
        {"the wheel", QStringLiteral("mousemove 600 400 click 4 click 5"), ""},
        {"a drag from the other application into ours",
         QStringLiteral("mousemove 600 400 mousedown 1 sleep 0.1 mousemove 150 150 mouseup 1"), "pu"},
        {"a drag of ours", QStringLiteral("mousemove 150 150 mousedown 1 sleep 0.1 mousemove 600 400 mouseup 1"), ""},
    };
    for (const auto& row : rows) {
        xdo(row.actions);
        // The X thread has posted all it had to; what comes after that in the queue is ours.
        bool reached = false;
        QMetaObject::invokeMethod(
            qApp, [&] { reached = true; }, Qt::QueuedConnection);
        waitUntil([&] { return reached; });
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
    desk().xdotool({QStringLiteral("mousemove"), QStringLiteral("150"), QStringLiteral("150"), QStringLiteral("click"),
                    QStringLiteral("1")});
    EXPECT_TRUE(waitUntil([&] { return !window.isVisible(); }));
    gone.set_value();
    EXPECT_TRUE(waitUntil([&] { return ours.has_value(); }));
    EXPECT_EQ(ours, true);
    xdo(QStringLiteral("mousemove 600 400 click 1"));
    EXPECT_TRUE(waitUntil([&] { return ours == false; }));
}

TEST_F(MonitorsTest, TheClockCountsWhatCanChangeASelection) {
    const struct {
        QString actions;
        bool counts;
    } rows[] = {
        {QStringLiteral("key x"), true},
        {QStringLiteral("key ctrl+c"), true},
        {QStringLiteral("key shift"), false},
        {QStringLiteral("key alt+x"), false},
        {QStringLiteral("key super"), false},
        {QStringLiteral("key super+x"), false},
        {QStringLiteral("click 4"), false},
        {QStringLiteral("mousemove 600 400 click 1"), true},
        {QStringLiteral("mousemove 10 10"), false},
    };
    for (const auto& row : rows) {
        const auto before = clock.read().lastPress;
        xdo(row.actions);
        EXPECT_EQ(clock.read().lastPress != before, row.counts) << row.actions.toStdString();
    }
}

TEST_F(MonitorsTest, AClickIntoOurOwnWindowIsTakenBackFromTheClock) {
    xdo(QStringLiteral("mousemove 600 400 click 1"));
    const auto before = clock.read().lastPress;
    monitors.setOwnWindows([](QPoint at, quint32, quint32) { return OURS.contains(at); });
    xdo(QStringLiteral("mousemove 150 150 click 1"));
    EXPECT_TRUE(waitUntil([&] { return clock.read().lastPress == before; }));
}

TEST_F(MonitorsTest, KeysWeSendOurselvesAreNotTheUsers) {
    XConnection sender;
    const auto before = clock.read().lastPress;
    seen.clear();
    synthetic.begin();
    xdo(QStringLiteral("key shift+Right"));
    synthetic.end(sender.serverTime(deadlineIn(10s)).value_or(0));
    EXPECT_EQ(clock.read().lastPress, before);
    EXPECT_EQ(until(QStringLiteral("key ctrl+a")), "a#r") << "only what came after";
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
    map(XK_Right);
    press();
    EXPECT_TRUE(waitUntil([this] { return seen == "r"; })) << seen;
    map(XK_F12);
    press();
    EXPECT_TRUE(waitUntil([this] { return seen == "ro"; })) << seen;
}
