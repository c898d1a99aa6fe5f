#include "route/Router.h"

#include "RouteFolder.h"

using namespace ovalin;

namespace {

/// The words that the shell makes of the one command in the line, one an argument.
QStringList wordsOf(const QString& line) {
    QString command = line.section(QStringLiteral("nohup "), 1);
    command = command.left(command.lastIndexOf(QStringLiteral(" >> ")));
    const ChildRun run = runToEnd(shellCommand(QStringLiteral("print -rNn -- ") + command));
    return QString::fromUtf8(run.output).split(QChar(), Qt::SkipEmptyParts);
}

struct Router : RouteFolder {
    const QString queueFilePath = paths.queueDir + QStringLiteral("/cap-1-0000.json");
    AgentSearch search{{home + QStringLiteral("/.local/bin/claude")}};

    void waitForLog(const QByteArray& text) const {
        EXPECT_TRUE(waitUntil([&] { return readFile(paths.routerLog).contains(text); }))
            << readFile(paths.routerLog).constData();
    }
};

} // namespace

TEST_F(Router, EveryPathAndTheInstructionsReachTheAgentUnchanged) {
    const QString odd = QStringLiteral("/it's a \"home\" $(touch x) `id`\\/claude");
    EXPECT_EQ(wordsOf(routerScriptLine(odd, odd, odd)), (QStringList{odd, odd}));
    EXPECT_EQ(wordsOf(routerAgentLine(odd, odd, odd)),
              (QStringList{odd, QStringLiteral("-p"), fallbackRouterPrompt() + QStringLiteral("\n\nQueue file: ") + odd,
                           QStringLiteral("--permission-mode"), QStringLiteral("bypassPermissions")}));
}

TEST_F(Router, AnInstalledScriptGetsTheQueueFileAndTheAgentIsNotLookedUp) {
    program(paths.routerScript, "#!/bin/sh\necho \"script $# $1\"\necho error >&2\n");
    program(search.candidates.first(), "#!/bin/sh\necho agent\n");
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
    const QJsonObject start =
        QJsonDocument::fromJson(readFile(home + QStringLiteral("/.fake-claude/log.jsonl")).split('\n').first())
            .object();
    EXPECT_EQ(start[QStringLiteral("argv")].toArray().last().toString(), QStringLiteral("bypassPermissions"));
    EXPECT_EQ(start[QStringLiteral("role")].toString(), QStringLiteral("router"));
}

TEST_F(Router, WhatIsMissingIsTold) {
    setShellPath(home + QStringLiteral("/zsh"));
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::AgentMissing);
    EXPECT_TRUE(log.isEmpty());
    program(paths.routerScript, "#!/bin/sh\n");
    EXPECT_EQ(spawnRouter(queueFilePath, paths, search).start, RouterStart::LaunchFailed);
    EXPECT_EQ(log,
              QStringList{QStringLiteral("Ovalin: router spawn failed — %1/zsh: No such file or directory").arg(home)});
}
