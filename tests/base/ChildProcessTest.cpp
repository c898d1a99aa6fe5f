#include "base/children/ChildProcess.h"
#include "base/Descriptor.h"

#include "support/Testing.h"

#include <sys/wait.h>

namespace {

ChildRun shell(const QString& line, const RunOptions& options = {}, const ChildVariables& variables = {}) {
    return runToEnd(shellCommand(line, variables), options);
}

qsizetype openDescriptors() { return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System).size(); }

struct ChildProcess : testing::Test {
    QTemporaryDir folder;
    QString path(const char* name) const { return folder.filePath(QLatin1String(name)); }
    ~ChildProcess() override {
        setShellPath(u"/bin/zsh"_s);
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
        {shellCommand(u"true"_s), ChildEnd::Kind::Exited, 0},
        {shellCommand(u"exit 143"_s), ChildEnd::Kind::Exited, 143},
        {shellCommand(u"kill -9 $$"_s), ChildEnd::Kind::Killed, 9},
        {{path("missing"), {}, {}, {}}, ChildEnd::Kind::FailedToStart, 0},
        {{folder.path(), {}, {}, {}}, ChildEnd::Kind::FailedToStart, 0},
        {{u"/bin/true"_s, {}, {}, path("missing")}, ChildEnd::Kind::FailedToStart, 0},
        {shellCommand(u"true"_s, {{u"OVALIN_X"_s, QString(1 << 20, QLatin1Char('x'))}}), ChildEnd::Kind::FailedToStart,
         0},
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
    const ChildRun echoed = shell(u"cat"_s, options);
    EXPECT_TRUE(echoed.output == *options.input);
    EXPECT_TRUE(echoed.end.succeeded());

    // One that wants nothing of it must not end us either.
    EXPECT_TRUE(shell(u"exec 0<&-; print done"_s, options).end.succeeded());
    // And without input there is an end of file, not a terminal.
    EXPECT_TRUE(shell(u"cat; print -u2 unseen"_s).output.isEmpty());
}

TEST_F(ChildProcess, TheEnvironmentIsTheOneReceivedPlusTheVariables) {
    const QByteArray bytes("caf\xe9", 4); // not UTF-8
    qputenv("CHILD_TEST_RECEIVED", bytes);
    qputenv("PATH", "/usr/bin:/bin");
    rememberEnvironment();
    qputenv("CHILD_TEST_RECEIVED", "changed later");
    setHelperFolder(path("with blank"));
    const QString words = u"it's \"$(touch x)\" `id`\nline 👩‍👩‍👧 \\ end"_s;
    const ChildRun run = shell(u"print -rn -- \"$CHILD_TEST_RECEIVED|$PATH|$OVALIN_WORDS\""_s, {},
                               {{u"OVALIN_WORDS"_s, words + QChar()}});
    EXPECT_EQ(run.output, bytes + "|/usr/bin:/bin:" + path("with blank").toUtf8() + '|' + words.toUtf8());
    qunsetenv("CHILD_TEST_RECEIVED");
    rememberEnvironment();
}

TEST_F(ChildProcess, AChildGetsAGroupOfItsOwnAndNoneOfOurDescriptors) {
    const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor leaky(::fcntl(null.get(), F_DUPFD, 77)); // as a library opens one, not to be closed on exec
    const QString line = u"print -n $$ $(cut -d' ' -f5 /proc/$$/stat) /proc/$$/fd/%1(N)"_s;
    const QStringList words = shell(line.arg(leaky.get())).text().split(QLatin1Char(' '));
    ASSERT_EQ(words.size(), 2) << words.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(words[0], words[1]);
}

TEST_F(ChildProcess, ALateChildIsEndedWithItsWholeGroup) {
    RunOptions options;
    options.deadline = 300ms;
    const ChildRun polite = shell(u"print ready; sleep 1000"_s, options);
    EXPECT_TRUE(polite.timedOut);
    EXPECT_EQ(polite.end.kind, ChildEnd::Kind::Killed);
    EXPECT_EQ(polite.end.number, SIGTERM);
    EXPECT_EQ(polite.output, "ready\n");

    options.grace = 100ms;
    const ChildRun stubborn = shell(u"trap '' TERM; sleep 1000 & print $!; while true; do sleep 1000; done"_s, options);
    EXPECT_EQ(stubborn.end.number, SIGKILL);
    ASSERT_FALSE(stubborn.text().isEmpty());
    EXPECT_TRUE(ends(stubborn.text().toInt()));
}

TEST_F(ChildProcess, EndlessOutputEndsAtTheLimit) {
    RunOptions options;
    options.outputLimit = 100000;
    const ChildRun run = shell(u"yes"_s, options);
    EXPECT_TRUE(run.truncated);
    EXPECT_EQ(run.output.size(), options.outputLimit);
}

TEST_F(ChildProcess, WhatAChildLeftRunningDoesNotHoldUsByItsOutput) {
    RunOptions options;
    options.grace = 100ms;
    const ChildRun run = shell(u"sleep 1000 & print $!"_s, options);
    EXPECT_TRUE(run.end.succeeded());
    const auto sleeps = [&] { return readFile(u"/proc/%1/stat"_s.arg(run.text())).contains(") S "); };
    EXPECT_TRUE(waitUntil(sleeps)) << "it is a job of the child's own";
    ::kill(run.text().toInt(), SIGKILL);
}

TEST_F(ChildProcess, ADetachedJobRunsInASessionOfItsOwnAndLeavesNoZombie) {
    const QString out = path("out");
    ASSERT_TRUE(
        launchDetached(shellCommand(u"cat; cut -d' ' -f1,6 /proc/$$/stat > %1.part; mv %1.part %1"_s.arg(out))));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(out); }));
    const QList<QByteArray> ids = readFile(out).trimmed().split(' ');
    ASSERT_EQ(ids.size(), 2);
    EXPECT_EQ(ids[0], ids[1]);
    EXPECT_TRUE(waitUntil([] { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }));
}
