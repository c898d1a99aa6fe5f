// The panel on real desktops: hotkey, keyboard, clipboard owners and window managers that misbehave.
#include "e2e/OvalinDesk.h"
#include "platform/atspi/AtSpiBus.h"

#include <QDir>
#include <QSet>

#include <gtest/gtest.h>

#include <csignal>

using namespace ovalin;

namespace {

void collectNames(const AtSpiQuery& query, const AtSpiRef& object, QSet<QString>& names, int depth = 0) {
    names.insert(query.name(query.beginName(object)));
    if (depth < 8) {
        for (const AtSpiRef& child : query.children(object))
            collectNames(query, child, names, depth + 1);
    }
}

} // namespace

TEST(Panel, WorksWithoutAWindowManagerAndWithNothingOpen) {
    TestDesk::Options options;
    options.windowManager = TestDesk::WindowManager::None;
    OvalinDesk desk(options);
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    desk.startOvalin();
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    desk.type(QStringLiteral("remember the milk"));
    desk.pressKey(QStringLiteral("Return"));
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(QStringLiteral("prompt")), QStringLiteral("remember the milk"));
    EXPECT_EQ(request.value(QStringLiteral("source_app")), QStringLiteral("Unknown"));
}

TEST(Panel, EscapeHotkeyAndToggleCloseWhatTheyOpened) {
    OvalinDesk desk;
    EXPECT_NE(desk.runOvalin({QStringLiteral("toggle")}).status, 0);
    EXPECT_TRUE(desk.runOvalin({QStringLiteral("toggle")}).output.contains(QStringLiteral("not running")));
    EXPECT_TRUE(desk.runOvalin({QStringLiteral("--version")}).output.startsWith(QStringLiteral("ovalin ")));
    EXPECT_TRUE(desk.runOvalin({QStringLiteral("--help")}).output.contains(QStringLiteral("toggle")));
    EXPECT_EQ(desk.runOvalin({QStringLiteral("--nonsense")}).status, 2);
    desk.startOvalin();
    const auto second = desk.runOvalin({});
    EXPECT_EQ(second.status, 0);
    EXPECT_TRUE(second.output.contains(
        QStringLiteral("Ovalin: another instance is running (pid %1) — exiting").arg(desk.ovalin().processId())))
        << second.output.toStdString();

    for (const char* close : {"Escape", "alt+space", ""}) {
        if (*close)
            desk.pressHotkey();
        else
            EXPECT_EQ(desk.runOvalin({QStringLiteral("toggle")}).status, 0);
        ASSERT_TRUE(desk.waitForPanel(true)) << close;
        waitUntil([] { return false; }, 0.3); // presses within a quarter of a second count once
        if (*close)
            desk.pressKey(QString::fromLatin1(close));
        else
            EXPECT_EQ(desk.runOvalin({QStringLiteral("toggle")}).status, 0);
        ASSERT_TRUE(desk.waitForPanel(false)) << close;
        waitUntil([] { return false; }, 0.3);
    }
}

TEST(Panel, ATakenKeyIsSaidAndToggleStillWorks) {
    OvalinDesk desk;
    writeFile(desk.path(QStringLiteral("holder.xml")),
              R"(<?xml version="1.0"?><openbox_config xmlns="http://openbox.org/3.4/rc">
      <keyboard><keybind key="A-space"><action name="ShowMenu"><menu>client-menu</menu></action></keybind></keyboard></openbox_config>)");
    desk.start(QStringLiteral("openbox"),
               {QStringLiteral("--replace"), QStringLiteral("--config-file"), desk.path(QStringLiteral("holder.xml"))});
    waitUntil([&] { return desk.log().isEmpty() && false; }, 1.0);
    desk.start(QStringLiteral(FAKE_DESKTOP_SERVICES), {desk.path(QStringLiteral("notifications.jsonl"))});
    desk.startOvalin();
    EXPECT_TRUE(desk.waitForLog(QStringLiteral("Ovalin: RegisterEventHotKey failed (10), attempt 1")));
    EXPECT_EQ(desk.runOvalin({QStringLiteral("toggle")}).status, 0);
    EXPECT_TRUE(desk.waitForPanel(true));
    // The key becomes free when a window manager without the binding takes over.
    desk.start(QStringLiteral("openbox"), {QStringLiteral("--replace"), QStringLiteral("--config-file"),
                                           desk.path(QStringLiteral("openbox.xml"))});
    desk.pressKey(QStringLiteral("Escape"));
    EXPECT_TRUE(waitUntil(
        [&] {
            desk.pressHotkey();
            return desk.waitForPanel(true, 0.5);
        },
        20))
        << desk.log().toStdString();
}

TEST(Panel, AStoppedClipboardOwnerHoldsUpNothing) {
    OvalinDesk desk;
    QProcess& owner = desk.start(QStringLiteral("xclip"), {QStringLiteral("-selection"), QStringLiteral("clipboard"),
                                                           QStringLiteral("-quiet"), QStringLiteral("/etc/hostname")});
    desk.startOvalin();
    desk.openEditor("text\n");
    ASSERT_TRUE(waitUntil([&] {
        return !desk.output(QStringLiteral("xclip"),
                            {QStringLiteral("-o"), QStringLiteral("-selection"), QStringLiteral("clipboard"),
                             QStringLiteral("-t"), QStringLiteral("TARGETS")})
                    .isEmpty();
    }));
    ::kill(static_cast<pid_t>(owner.processId()), SIGSTOP);
    desk.pressHotkey();
    EXPECT_TRUE(desk.waitForPanel(true, 2));
    desk.pressKey(QStringLiteral("ctrl+v")); // must not freeze the panel
    desk.pressKey(QStringLiteral("Escape"));
    EXPECT_TRUE(desk.waitForPanel(false, 2));
    ::kill(static_cast<pid_t>(owner.processId()), SIGCONT);
}

TEST(Panel, NamesAreThereForScreenReadersAndScripts) {
    OvalinDesk desk;
    desk.startOvalin();
    desk.openEditor("text to see\n");
    desk.pressKey(QStringLiteral("ctrl+a"));
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    EXPECT_TRUE(
        desk.output(QStringLiteral("xprop"), {QStringLiteral("-id"), desk.panelWindow(), QStringLiteral("WM_CLASS")})
            .contains(QStringLiteral("ovalin")));
    AtSpiBus bus(desk.environment.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")));
    QSet<QString> names;
    const QSet<QString> expected = {QStringLiteral("Prompt"),
                                    QStringLiteral("Excerpt"),
                                    QStringLiteral("Status"),
                                    QStringLiteral("Do"),
                                    QStringLiteral("Ask"),
                                    QStringLiteral("Cancel"),
                                    QStringLiteral("Submit"),
                                    QStringLiteral("Replace"),
                                    QStringLiteral("Dictate"),
                                    QStringLiteral("Past conversations"),
                                    QStringLiteral("How Ovalin works")};
    EXPECT_TRUE(waitUntil(
        [&] {
            names.clear();
            if (const auto query = bus.open(QDeadlineTimer(3000))) {
                if (const auto application = query->application(static_cast<qint32>(desk.ovalin().processId())))
                    collectNames(*query, *application, names);
            }
            return names.contains(expected);
        },
        20))
        << QStringList(names.values()).join(QStringLiteral(", ")).toStdString();
}

TEST(Panel, AClickOutsideGivesTheKeyboardBackAndASelectionThereIsFollowed) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    desk.startOvalin();
    const QString editor = desk.openEditor("firstword secondword\n");
    desk.xdotool(
        {QStringLiteral("windowmove"), QStringLiteral("--sync"), editor, QStringLiteral("20"), QStringLiteral("20")});
    desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("1000"), QStringLiteral("500")});
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.type(QStringLiteral("in the panel "));
    // A double click on the first word selects it in the application below.
    desk.xdotool(
        {QStringLiteral("mousemove"), QStringLiteral("--window"), editor, QStringLiteral("30"), QStringLiteral("60")});
    ASSERT_TRUE(waitUntil([&] {
        desk.xdotool({QStringLiteral("click"), QStringLiteral("--repeat"), QStringLiteral("2"),
                      QStringLiteral("--delay"), QStringLiteral("60"), QStringLiteral("1")});
        return desk.primary() == QStringLiteral("firstword");
    })) << desk.primary().toStdString();
    desk.pressKey(QStringLiteral("shift+Right"));
    waitUntil([] { return false; }, 0.6); // the refresh comes 0.18 s after the key
    // Back into the panel by a click on the prompt, and submit.
    const QString panel = desk.panelWindow();
    const QString height =
        desk.output(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), panel})
            .section(QStringLiteral("HEIGHT="), 1)
            .section(QLatin1Char('\n'), 0, 0);
    desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), panel, QStringLiteral("300"),
                  QString::number(height.toInt() - 68)});
    desk.xdotool({QStringLiteral("click"), QStringLiteral("1")});
    desk.type(QStringLiteral("and again"));
    desk.pressKey(QStringLiteral("Return"));
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(QStringLiteral("prompt")), QStringLiteral("in the panel and again"))
        << desk.log().toStdString();
    EXPECT_EQ(request.value(QStringLiteral("text")).toString(), desk.primary()) << "what Shift+Right left selected";
}

TEST(Panel, ATargetThatDiesUnderThePanelIsNoObstacle) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    desk.startOvalin();
    desk.openEditor("soon gone\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.output(QStringLiteral("pkill"),
                {QStringLiteral("-KILL"), QStringLiteral("-f"), desk.path(QStringLiteral("document.txt"))});
    desk.type(QStringLiteral("still works"));
    desk.pressKey(QStringLiteral("Return"));
    EXPECT_EQ(desk.waitForRequest().value(QStringLiteral("prompt")), QStringLiteral("still works"));
}

TEST(Panel, DeadKeysAndOtherLayoutsReachThePrompt) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    desk.startOvalin();
    desk.output(QStringLiteral("setxkbmap"), {QStringLiteral("de")});
    desk.pressHotkey(); // its grab survives a new keyboard map
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.pressKey(QStringLiteral("dead_acute"));
    desk.pressKey(QStringLiteral("e"));
    desk.pressKey(QStringLiteral("udiaeresis"));
    desk.pressKey(QStringLiteral("Return"));
    EXPECT_EQ(desk.waitForRequest().value(QStringLiteral("prompt")).toString().toStdString(), "éü");
}
