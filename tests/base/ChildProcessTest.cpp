#include "base/children/ChildProcess.h"
#include "base/Descriptor.h"

#include "support/TestDesk.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

ChildRun shell(const QString& line, const RunOptions& options = {}, const ChildVariables& variables = {}) {
    return runToEnd(shellCommand(line, variables), options);
}

qsizetype openDescriptors() {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

bool isRunning(const QString& pid) {
    const QByteArray status = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    return !status.isEmpty() && !status.contains(") Z ");
}

struct ChildProcess : testing::Test {
    QTemporaryDir folder;
    QString path(const char* name) const { return folder.filePath(QLatin1String(name)); }
    ~ChildProcess() override {
        setShellPath(QStringLiteral("/bin/zsh"));
        setHelperFolder({});
    }
};

} // namespace

TEST_F(ChildProcess, EveryEndIsTold) {
    const struct {
        ChildCommand command;
        ChildEnd::Kind kind;
        int number;
    } rows[] = {
        {shellCommand(QStringLiteral("true")), ChildEnd::Kind::Exited, 0},
        {shellCommand(QStringLiteral("exit 143")), ChildEnd::Kind::Exited, 143},
        {shellCommand(QStringLiteral("kill -9 $$")), ChildEnd::Kind::Killed, 9},
        {{path("missing"), {}, {}, {}}, ChildEnd::Kind::FailedToStart, 0},
        {{folder.path(), {}, {}, {}}, ChildEnd::Kind::FailedToStart, 0},
        {{QStringLiteral("/bin/true"), {}, {}, path("missing")}, ChildEnd::Kind::FailedToStart, 0},
        {shellCommand(QStringLiteral("true"), {{QStringLiteral("OVALIN_X"), QString(1 << 20, QLatin1Char('x'))}}),
         ChildEnd::Kind::FailedToStart, 0},
    };
    const qsizetype before = openDescriptors();
    for (const auto& row : rows) {
        const ChildEnd end = runToEnd(row.command).end;
        EXPECT_EQ(end.kind, row.kind) << end.describe().toStdString();
        EXPECT_EQ(end.number, row.number);
        EXPECT_EQ(end.reason.isEmpty(), row.kind != ChildEnd::Kind::FailedToStart);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChildProcess, NoSizeOfInputOrOutputBlocks) {
    RunOptions options;
    options.input = QByteArray(8 << 20, 'x') + "end";
    const ChildRun echoed = shell(QStringLiteral("cat"), options);
    EXPECT_TRUE(echoed.output == *options.input);
    EXPECT_TRUE(echoed.end.succeeded());

    // One that wants nothing of it must not end us either.
    EXPECT_TRUE(shell(QStringLiteral("exec 0<&-; print done"), options).end.succeeded());
    // And without input there is an end of file, not a terminal.
    EXPECT_TRUE(shell(QStringLiteral("cat; print -u2 unseen")).output.isEmpty());
}

TEST_F(ChildProcess, TheEnvironmentIsTheOneReceivedPlusTheVariables) {
    const QByteArray bytes("caf\xe9", 4); // not UTF-8
    qputenv("CHILD_TEST_RECEIVED", bytes);
    qputenv("PATH", "/usr/bin:/bin");
    rememberEnvironment();
    qputenv("CHILD_TEST_RECEIVED", "changed later");
    setHelperFolder(path("with blank"));
    const QString words = QStringLiteral("it's \"$(touch x)\" `id`\nline 👩‍👩‍👧 \\ end");
    const ChildRun run = shell(QStringLiteral("print -rn -- \"$CHILD_TEST_RECEIVED|$PATH|$OVALIN_WORDS\""), {},
                               {{QStringLiteral("OVALIN_WORDS"), words + QChar()}});
    EXPECT_EQ(run.output, bytes + "|/usr/bin:/bin:" + path("with blank").toUtf8() + '|' + words.toUtf8());
    qunsetenv("CHILD_TEST_RECEIVED");
    rememberEnvironment();
}

TEST_F(ChildProcess, AChildGetsAGroupOfItsOwnAndNoneOfOurDescriptors) {
    const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor leaky(::fcntl(null.get(), F_DUPFD, 77)); // as a library opens one, not to be closed on exec
    const QString line = QStringLiteral("print -n $$ $(cut -d' ' -f5 /proc/$$/stat) /proc/$$/fd/%1(N)");
    const QStringList words = shell(line.arg(leaky.get())).text().split(QLatin1Char(' '));
    ASSERT_EQ(words.size(), 2) << words.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(words[0], words[1]);
}

TEST_F(ChildProcess, ALateChildIsEndedWithItsWholeGroup) {
    RunOptions options;
    options.deadline = 300ms;
    const ChildRun polite = shell(QStringLiteral("print ready; sleep 1000"), options);
    EXPECT_TRUE(polite.timedOut);
    EXPECT_EQ(polite.end.kind, ChildEnd::Kind::Killed);
    EXPECT_EQ(polite.end.number, SIGTERM);
    EXPECT_EQ(polite.output, "ready\n");

    options.grace = 100ms;
    const ChildRun stubborn =
        shell(QStringLiteral("trap '' TERM; sleep 1000 & print $!; while true; do sleep 1000; done"), options);
    EXPECT_EQ(stubborn.end.number, SIGKILL);
    ASSERT_FALSE(stubborn.text().isEmpty());
    EXPECT_TRUE(waitUntil([&] { return !isRunning(stubborn.text()); }));
}

TEST_F(ChildProcess, EndlessOutputEndsAtTheLimit) {
    RunOptions options;
    options.outputLimit = 100000;
    const ChildRun run = shell(QStringLiteral("yes"), options);
    EXPECT_TRUE(run.truncated);
    EXPECT_EQ(run.output.size(), options.outputLimit);
}

TEST_F(ChildProcess, WhatAChildLeftRunningDoesNotHoldUsByItsOutput) {
    RunOptions options;
    options.grace = 100ms;
    const ChildRun run = shell(QStringLiteral("sleep 1000 & print $!"), options);
    EXPECT_TRUE(run.end.succeeded());
    ASSERT_TRUE(isRunning(run.text())) << "it is a job of the child's own";
    ::kill(run.text().toInt(), SIGKILL);
}

TEST_F(ChildProcess, ADetachedJobRunsInASessionOfItsOwnAndLeavesNoZombie) {
    const QString out = path("out");
    ASSERT_TRUE(launchDetached(
        shellCommand(QStringLiteral("cat; cut -d' ' -f1,6 /proc/$$/stat > %1.part; mv %1.part %1").arg(out))));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(out); }));
    const QList<QByteArray> ids = readFile(out).trimmed().split(' ');
    ASSERT_EQ(ids.size(), 2);
    EXPECT_EQ(ids[0], ids[1]);
    EXPECT_TRUE(waitUntil([] { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }));
}
