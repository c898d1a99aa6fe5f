#include "route/Router.h"

#include "RouteFolder.h"

namespace {

/// The words that the shell makes of the one command in the line, one an argument.
QStringList wordsOf(const QString& line) {
    QString command = line.section(u"nohup "_s, 1);
    command = command.left(command.lastIndexOf(u" >> "_s));
    const ChildRun run = runToEnd(shellCommand(u"print -rNn -- "_s + command));
    return QString::fromUtf8(run.output).split(QChar(), Qt::SkipEmptyParts);
}

struct Router : RouteFolder {
    const QString queueFilePath = paths.queueDir + u"/cap-1-0000.json"_s;
    AgentSearch search{{home + u"/.local/bin/claude"_s}};

    void waitForLog(const QByteArray& text) const {
        EXPECT_TRUE(waitUntil([&] { return readFile(paths.routerLog).contains(text); }))
            << readFile(paths.routerLog).constData();
    }
};

} // namespace

TEST_F(Router, EveryPathAndTheInstructionsReachTheAgentUnchanged) {
    const QString odd = u"/it's a \"home\" $(touch x) `id`\\/claude"_s;
    EXPECT_EQ(wordsOf(routerScriptLine(odd, odd, odd)), (QStringList{odd, odd}));
    EXPECT_EQ(wordsOf(routerAgentLine(odd, odd, odd)),
              (QStringList{odd, u"-p"_s, fallbackRouterPrompt() + u"\n\nQueue file: "_s + odd, u"--permission-mode"_s,
                           u"bypassPermissions"_s}));
}

TEST_F(Router, AnInstalledScriptGetsTheQueueFileAndTheAgentIsNotLookedUp) {
    writeProgram(paths.routerScript, "#!/bin/sh\necho \"script $# $1\"\necho error >&2\n");
    writeProgram(search.candidates.first(), "#!/bin/sh\necho agent\n");
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::Launched);
    waitForLog("error\n");
    EXPECT_EQ(readFile(paths.routerLog), "script 1 " + queueFilePath.toUtf8() + "\nerror\n");
}

TEST_F(Router, WithoutAScriptTheAgentRunsInTheBackground) {
    QDir().mkpath(QFileInfo(search.candidates.first()).path());
    QFile::copy(QStringLiteral(OVALIN_TESTS_DIR "/agent/fake-claude"), search.candidates.first());
    writeFile(paths.routerScript, "#!/bin/sh\n"); // not executable
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::Launched);
    waitForLog("Queue file: " + queueFilePath.toUtf8() + '\n');
    const QJsonObject start = readJsonLines(home + u"/.fake-claude/log.jsonl"_s).at(0);
    EXPECT_EQ(start[u"argv"_s].toArray().last().toString(), u"bypassPermissions"_s);
    EXPECT_EQ(start[u"role"_s].toString(), u"router"_s);
}

TEST_F(Router, WhatIsMissingIsTold) {
    setShellPath(home + u"/zsh"_s);
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::AgentMissing);
    EXPECT_TRUE(log.lines.isEmpty());
    writeProgram(paths.routerScript, "#!/bin/sh\n");
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::LaunchFailed);
    EXPECT_FALSE(QFile::exists(routerMark(queueFilePath))) << "the next start tries again";
    EXPECT_EQ(log.lines, QStringList{u"Ovalin: router spawn failed — %1/zsh: No such file or directory"_s.arg(home)});
}
