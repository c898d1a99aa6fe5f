// The panel on real desktops: hotkey, keyboard, clipboard owners and window managers that misbehave.
#include "e2e/OvalinDesk.h"

#include <QSet>

namespace {

/// Whether no window of the screen is above the panel's.
bool isInFront(const OvalinDesk& desk) {
    const QString windows = desk.output(u"xwininfo"_s, {u"-root"_s, u"-children"_s});
    return windows.section(u"children:\n"_s, 1).section(u'\n', 0, 0).contains(u"\"Ovalin\""_s);
}

} // namespace

TEST(Panel, WorksWithoutAWindowManagerAndWithNothingOpen) {
    TestDesk::Options options;
    options.windowManager = TestDesk::WindowManager::None;
    OvalinDesk desk(options);
    desk.startOvalin();
    ASSERT_TRUE(desk.opensPanel());
    desk.start(QStringLiteral(STAND_IN), {u"keys"_s, desk.path(u"keys"_s)});
    ASSERT_FALSE(desk.waitForWindow(u"stand-in"_s).isEmpty());
    EXPECT_TRUE(waitUntil([&] { return isInFront(desk); })) << "of a window that nobody puts below it";
    desk.enter(u"remember the milk"_s);
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(u"prompt"_s), u"remember the milk"_s);
    EXPECT_EQ(request.value(u"source_app"_s), u"Unknown"_s);
}

TEST(Panel, EscapeHotkeyAndToggleCloseWhatTheyOpened) {
    OvalinDesk desk;
    desk.startOvalin();
    const QString alone = desk.path(u"toggle-alone"_s); // without the agent beside it: toggling does not need it
    ASSERT_TRUE(QFile::copy(QStringLiteral(OVALIN_BINARY), alone));
    for (const char* close : {"Escape", "alt+space", ""}) {
        if (*close)
            desk.pressHotkey();
        else
            desk.output(alone, {u"toggle"_s});
        ASSERT_TRUE(desk.waitForPanel(true)) << close;
        waitUntil([] { return false; }, 0.3); // presses within a quarter of a second count once
        if (*close)
            desk.pressKey(QString::fromLatin1(close));
        else
            EXPECT_EQ(desk.runOvalin({u"toggle"_s}).status, 0);
        ASSERT_TRUE(desk.waitForPanel(false)) << close;
        waitUntil([] { return false; }, 0.3);
    }
}

TEST(Panel, NamesAreThereForScreenReadersAndScripts) {
    OvalinDesk desk;
    desk.startOvalin();
    desk.openEditor("text to see\n");
    desk.pressKey(u"ctrl+a"_s);
    ASSERT_TRUE(desk.opensPanel());
    EXPECT_TRUE(desk.output(u"xprop"_s, {u"-id"_s, desk.panelWindow(), u"WM_CLASS"_s}).contains(u"ovalin"_s));
    QSet<QString> names;
    const QSet<QString> expected = {u"Prompt"_s,   u"Excerpt"_s,         u"Do"_s,
                                    u"Ask"_s,      u"Cancel"_s,          u"Submit"_s,
                                    u"Replace"_s,  u"Dictate"_s,         u"Past conversations"_s,
                                    u"Requests"_s, u"How Ovalin works"_s};
    EXPECT_TRUE(waitUntil(
        [&] {
            names = desk.accessibleNames();
            return names.contains(expected);
        },
        20))
        << QStringList(names.values()).join(u", "_s).toStdString();
}

TEST(Panel, AClickOutsideGivesTheKeyboardBackAndASelectionThereIsFollowed) {
    OvalinDesk desk;
    desk.startOvalin();
    const QString editor = desk.openEditor("firstword secondword\n");
    desk.xdotool({u"windowmove"_s, u"--sync"_s, editor, u"20"_s, u"20"_s});
    desk.xdotool({u"mousemove"_s, u"1000"_s, u"500"_s});
    ASSERT_TRUE(desk.opensPanel());
    desk.type(u"in the panel "_s);
    // A double click on the first word selects it in the application below.
    desk.xdotool({u"mousemove"_s, u"--window"_s, editor, u"30"_s, u"60"_s});
    ASSERT_TRUE(waitUntil([&] {
        desk.xdotool({u"click"_s, u"--repeat"_s, u"2"_s, u"--delay"_s, u"60"_s, u"1"_s});
        return desk.primary() == u"firstword"_s;
    })) << desk.primary().toStdString();
    desk.pressKey(u"shift+Right"_s);
    waitUntil([] { return false; }, 0.6); // the refresh comes 0.18 s after the key
    // Back into the panel by a click on the prompt, and submit.
    const QString panel = desk.panelWindow();
    desk.xdotool({u"mousemove"_s, u"--window"_s, panel, u"300"_s, QString::number(desk.frameOf(panel).height() - 68)});
    desk.xdotool({u"click"_s, u"1"_s});
    desk.enter(u"and again"_s);
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(u"prompt"_s), u"in the panel and again"_s) << desk.log().toStdString();
    EXPECT_EQ(request.value(u"text"_s).toString(), desk.primary()) << "what Shift+Right left selected";
}

TEST(Panel, AClickBringsItBackOverWhatCoversItAndOneIntoAnInputMethodsListLeavesItTheKeyboard) {
    OvalinDesk desk;
    desk.startOvalin();
    ASSERT_TRUE(desk.opensPanel());
    const QRect frame = desk.frameOf(desk.panelWindow());
    desk.start(QStringLiteral(STAND_IN), {u"-name"_s, u"ibus-ui-gtk3"_s, u"popup"_s, desk.path(u"keys"_s)});
    const QString popup = desk.waitForWindow(u"stand-in"_s);
    desk.xdo(u"windowmove %1 %2 %3"_s.arg(popup).arg(frame.left() + 60).arg(frame.top()));
    desk.xdo(u"windowraise %1"_s.arg(popup));
    ASSERT_TRUE(waitUntil([&] { return !isInFront(desk); }));
    desk.xdo(u"mousemove %1 %2 click 1"_s.arg(frame.left() + 20).arg(frame.top() + 12));
    EXPECT_TRUE(waitUntil([&] { return isInFront(desk); }));
    desk.xdo(u"windowmove --sync %1 0 0 mousemove 100 100 click 1"_s.arg(popup));
    desk.enter(u"remember the milk"_s);
    EXPECT_EQ(desk.waitForRequest().value(u"prompt"_s), u"remember the milk"_s);
}
