// The program and the X server: none, one that lacks something, one that goes away.
#include "OvalinDesk.h"

TEST(Server, WithoutOneTheProgramSaysSoInOneLine) {
    const struct {
        const char* display;
        QStringList arguments;
        const char* why;
        const char* needs = "an X server";
    } rows[] = {
        {"", {}, "DISPLAY is not set"},
        {":987", {}, "none can be reached at DISPLAY \":987\""},
        {"nonsense", {}, "none can be reached at DISPLAY \"nonsense\""},
        {"here", {u"-display"_s, u":986"_s}, "none can be reached at DISPLAY \":986\""},
        {"here", {u"-platform"_s, u"offscreen"_s}, "-platform offscreen asks for another"},
        {"here", {u"--platform"_s, u"wayland"_s}, "WAYLAND_DISPLAY is not set", "a Wayland compositor"},
    };
    OvalinDesk desk;
    const QString here = desk.environment.value(u"DISPLAY"_s);
    for (const auto& row : rows) {
        const QString display = QString::fromLatin1(row.display);
        desk.environment.insert(u"DISPLAY"_s, display == QLatin1String("here") ? here : display);
        const OvalinDesk::Run run = desk.runOvalin(row.arguments);
        EXPECT_EQ(run.status, 1) << row.why;
        EXPECT_EQ(run.output,
                  u"Ovalin: needs %1, but %2 — exiting\n"_s.arg(QLatin1String(row.needs), QLatin1String(row.why)));
    }
}

TEST(Server, WhatTheEnvironmentNamesForOtherProgramsOrAnEndedSessionIsNoObstacle) {
    OvalinDesk desk;
    desk.environment.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
    desk.environment.insert(u"WAYLAND_DISPLAY"_s, u"left-over"_s);
    desk.startOvalin();
    EXPECT_TRUE(desk.opensPanel());
}

TEST(Server, WhatItLacksIsSaidAndThePanelOpensAllTheSame) {
    for (const char* name : {"X-Resource", "XTEST", "Composite"}) {
        TestDesk::Options options;
        options.serverArguments = {u"-extension"_s, QString::fromLatin1(name)};
        OvalinDesk desk(options);
        desk.openEditor("text\n");
        desk.startOvalin();
        EXPECT_EQ(desk.runOvalin({u"toggle"_s}).status, 0);
        EXPECT_TRUE(desk.waitForPanel(true)) << name;
        EXPECT_TRUE(desk.log().contains(u"the X server has no %1 — "_s.arg(QString::fromLatin1(name))));
    }
}

TEST(Server, WhenItGoesAwayTheProgramEndsInOrderAndARequestOnItsWayIsKept) {
    OvalinDesk desk;
    desk.openEditor("text\n");
    desk.startOvalinWith(u"screencapture"_s, "#!/bin/sh\nsleep 3\n");
    ASSERT_TRUE(desk.opensPanel());
    desk.enter(u"note this"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    ASSERT_TRUE(desk.requests().empty()) << "waits for its picture";
    desk.killServer();
    ASSERT_TRUE(waitUntil([&] { return desk.ovalin().state() == QProcess::NotRunning; }, 20));
    EXPECT_EQ(desk.ovalin().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(desk.ovalin().exitCode(), 1);
    EXPECT_EQ(desk.log().count(u"Ovalin: the X server is gone — exiting"_s), 1);
    EXPECT_FALSE(desk.log().contains(u"X11 connection"_s)) << "one line is enough";
    EXPECT_EQ(desk.requests().size(), 1U);
}
