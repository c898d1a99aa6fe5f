// The commands of the command line, beside the running copy and without one.
#include "e2e/AskDesk.h"

namespace {

void expectRun(const OvalinDesk& desk, const QStringList& arguments, int status, const QString& said) {
    const OvalinDesk::Run run = desk.runOvalin(arguments);
    EXPECT_EQ(run.status, status) << arguments.join(u' ').toStdString() << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(said)) << arguments.join(u' ').toStdString() << run.output.toStdString();
}

} // namespace

TEST(Command, AWrongOneIsSaidAndNoneNeedsADisplay) {
    OvalinDesk desk;
    desk.environment.remove(u"DISPLAY"_s);
    struct Row {
        QStringList arguments;
        int status;
        const char* said;
    };
    for (const Row& row :
         {Row{{u"--help"_s}, 0, "start-at-login on|off"}, Row{{u"--version"_s}, 0, "ovalin "},
          Row{{u"--verbose"_s, u"-name"_s, u"x"_s, u"status"_s}, 1, "running           no"},
          Row{{u"doctor"_s}, 1, "start it with `ovalin`"}, Row{{u"toggle"_s}, 1, "not running"},
          Row{{u"do"_s, u"--help"_s}, 1, "not running"}, Row{{u"do"_s}, 2, "usage: ovalin do WORDS"},
          Row{{u"ask"_s, u" "_s}, 2, "usage: ovalin ask WORDS"}, Row{{u"quit"_s, u"now"_s}, 2, "usage: ovalin quit"},
          Row{{u"start-at-login"_s, u"maybe"_s}, 2, "on|off"},
          Row{{u"frobnicate"_s}, 2, "unknown argument 'frobnicate'"}})
        expectRun(desk, row.arguments, row.status, QString::fromLatin1(row.said));
}

TEST(Command, HasTheRunningCopyDoIt) {
    OvalinDesk desk;
    writeFile(desk.path(u".config/ovalin/config"_s), "hotkey=Ctrl+F9\nnonsense\n");
    desk.startOvalin({u"--background"_s});
    EXPECT_TRUE(desk.log().contains(u"Ovalin ready — Ctrl+F9 to capture"_s)) << desk.log().toStdString();
    EXPECT_TRUE(desk.log().contains(u"configuration: line 2 "_s)) << desk.log().toStdString();
    expectRun(desk, {u"status"_s}, 0, u"hotkey            Ctrl+F9\n"_s);
    expectRun(desk, {u"doctor"_s}, 1, u"line 2 "_s);

    expectRun(desk, {u"do"_s, u"water"_s, u"the “plants” $(now)"_s}, 0, u"handed over as cap-"_s);
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(u"prompt"_s), u"water the “plants” $(now)"_s);
    EXPECT_EQ(request.value(u"source_app"_s), u"Unknown"_s);
    EXPECT_EQ(request.value(u"text"_s), QString());
    EXPECT_FALSE(request.contains(u"screenshot"_s) || request.contains(u"source_url"_s));

    expectRun(desk, {u"requests"_s}, 0, {});
    EXPECT_TRUE(waitUntil([&] {
        return !desk.xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Requests$"_s}).isEmpty();
    })) << "the list";
    EXPECT_TRUE(desk.waitForPanel(true)) << "beside its panel";
    desk.keepPicture(u"command-requests"_s);
    desk.pressKey(u"ctrl+F9"_s);
    EXPECT_TRUE(desk.waitForPanel(false));

    expectRun(desk, {u"--background"_s}, 0, u"another instance is running"_s);
    EXPECT_FALSE(desk.waitForPanel(true, 0.5));
    for (int start = 0; start < 2; ++start) {
        expectRun(desk, {}, 0,
                  u"Ovalin: another instance is running (pid %1) — exiting"_s.arg(desk.ovalin().processId()));
        EXPECT_TRUE(desk.waitForPanel(true)) << "opened, and never closed";
    }
    desk.keepPicture(u"command-second-start"_s);
    expectRun(desk, {u"ask"_s, u"why?"_s}, 1, u"the panel is open"_s);
    desk.pressKey(u"ctrl+F9"_s);
    EXPECT_TRUE(desk.waitForPanel(false)) << "the hotkey of the configuration";

    expectRun(desk, {u"quit"_s}, 0, {});
    expectRun(desk, {u"do"_s, u"more"_s}, 1, u"not running"_s);
    EXPECT_EQ(desk.requests().size(), 1u);
}

TEST(Command, AFileSystemWithoutLocksIsNoOtherCopyAndHoldsNothingUp) {
    OvalinDesk desk;
    desk.environment.insert(u"LD_PRELOAD"_s, QStringLiteral(NO_LOCKS));
    desk.startOvalin({u"--background"_s});
    expectRun(desk, {u"do"_s, u"water the plants"_s}, 0, u"handed over as cap-"_s);
    expectRun(desk, {u"do"_s, u"feed the cat"_s}, 0, u"handed over as cap-"_s);
    EXPECT_EQ(readJson(desk.path(u"CLAUDE/system/captures.json"_s))[u"items"_s].toArray().size(), 2);
    expectRun(desk, {u"--background"_s}, 0, u"another instance is running"_s);
    expectRun(desk, {u"quit"_s}, 0, u"has ended"_s);
    EXPECT_TRUE(waitUntil([&] { return desk.ovalin().state() == QProcess::NotRunning; }));
}

TEST(Command, AskSendsTheQuestionWithWhatIsInFront) {
    AskDesk desk("{}");
    desk.pressKey(u"Escape"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    expectRun(desk, {u"ask"_s, u"What colour is it?"_s}, 0, {});
    EXPECT_TRUE(waitUntil([&] { return desk.message(0).contains(u"What colour is it?"_s); }))
        << desk.log().toStdString();
    EXPECT_TRUE(desk.message(0).contains(u"The sky over the sea."_s)) << desk.message(0).toStdString();
    EXPECT_TRUE(desk.waitForPanel(true));
    desk.keepPicture(u"command-ask"_s);
}

TEST(Command, StartAtLoginIsTheUnitWhereTheSessionRunsUnitsElseAFileAndNeverBoth) {
    OvalinDesk desk;
    desk.environment.insert(u"PATH"_s, desk.path(u"bin"_s) + u":/usr/bin:/bin"_s);
    desk.installScript(u"bin/systemctl"_s,
                       "#!/bin/sh\nwants=\"$HOME/.config/systemd/user/graphical-session.target.wants\"\n"
                       "[ -e \"$HOME/manager\" ] || exit 1\ncase \" $* \" in\n"
                       "*' enable '*) mkdir -p \"$wants\"; ln -sf /nowhere \"$wants/ovalin.service\" ;;\n"
                       "*' disable '*) rm \"$wants/ovalin.service\" ;;\nesac\n");
    const QString entry = desk.path(u".config/autostart/ovalin.desktop"_s);
    const auto unit = [&] {
        return QFileInfo(desk.path(u".config/systemd/user/graphical-session.target.wants/ovalin.service"_s))
            .isSymLink();
    };
    struct Row {
        const char* word;
        bool manager, unit, file;
    };
    for (const Row& row : {Row{"on", false, false, true}, Row{"on", true, true, false}, Row{"on", true, true, false},
                           Row{"on", false, false, true}, Row{"off", true, false, false}, Row{"on", true, true, false},
                           Row{"off", false, false, false}}) {
        QFile::remove(desk.path(u"manager"_s));
        if (row.manager)
            writeFile(desk.path(u"manager"_s), "");
        expectRun(desk, {u"start-at-login"_s, QString::fromLatin1(row.word)}, 0, u"start"_s);
        EXPECT_EQ(unit(), row.unit) << row.word << row.manager;
        EXPECT_EQ(QFile::exists(entry), row.file) << row.word << row.manager;
    }
    expectRun(desk, {u"start-at-login"_s, u"on"_s}, 0, entry);
    const QString line = desk.output(u"grep"_s, {u"^Exec="_s, entry});
    EXPECT_TRUE(line.endsWith(u"/ovalin\" --background"_s)) << line.toStdString();
}
