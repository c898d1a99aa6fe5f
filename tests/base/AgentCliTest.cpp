#include "base/AgentCli.h"

#include "base/AgentLine.h"
#include "base/children/ChildProcess.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

struct AgentCli : testing::Test {
    QTemporaryDir folder;
    QByteArray homeBefore = qgetenv("HOME");

    AgentCli() {
        qputenv("HOME", folder.path().toUtf8());
        rememberEnvironment();
    }
    ~AgentCli() override {
        setShellPath(u"/bin/zsh"_s);
        qputenv("HOME", homeBefore);
        rememberEnvironment();
    }

    QString path(const QString& name) const { return folder.filePath(name); }
    QString program(const QString& name, const QByteArray& lines = "#!/bin/sh\n", bool executable = true) const {
        writeFile(path(name), lines);
        QFile::setPermissions(path(name), executable ? QFile::Permissions(0x7755) : QFile::Permissions(0x6644));
        return path(name);
    }
    AgentSearch search(const QStringList& names = {u"1/claude"_s, u"2/claude"_s}) const {
        AgentSearch found;
        found.loginShell = true;
        for (const QString& name : names)
            found.candidates.append(path(name));
        return found;
    }
};

} // namespace

TEST_F(AgentCli, TheFirstExecutableCandidateWins) {
    const QString second = program(u"2/claude"_s);
    EXPECT_EQ(findClaudeBinary(search()), second);
    program(u"1/claude"_s, "text", false);
    EXPECT_EQ(findClaudeBinary(search()), second) << "one that is not executable is passed over";
    QFile::remove(path(u"1/claude"_s));
    QDir(folder.path()).mkpath(u"1/claude"_s);
    EXPECT_EQ(findClaudeBinary(search()), second) << "a folder is no program";
    QDir(folder.path()).rmdir(u"1/claude"_s);
    const QString first = program(u"1/claude"_s);
    // Also against a PATH that lists the other first.
    program(u".zprofile"_s, "path=($HOME/2 $path)\n", false);
    EXPECT_EQ(findClaudeBinary(search()), first);
    EXPECT_EQ(AgentSearch::under(folder.path()).candidates.first(), path(u".local/bin/claude"_s));
}

TEST_F(AgentCli, TheLoginShellFindsWhatItsProfileReaches) {
    const QString agent = program(u"version manager/claude"_s);
    const struct {
        const char* profile;
        bool found;
    } rows[] = {
        {"path=(\"$HOME/version manager\" $path)\n", true},
        {"path=()\n", false},
        {"alias claude='print hello'\n", false},
        {"claude() { print hello }\n", false},
        {"print -n '\\xff\\xfe'\npath=(\"$HOME/version manager\" $path)\n", false},
        {"exit 0\n", false},
    };
    for (const auto& row : rows) {
        program(u".zprofile"_s, row.profile, false);
        EXPECT_EQ(findClaudeBinary(search()), row.found ? std::optional(agent) : std::nullopt) << row.profile;
    }
}

TEST_F(AgentCli, AShellThatIsMissingOrHangsFindsNothing) {
    setShellPath(path(u"missing"_s));
    EXPECT_EQ(findClaudeBinary(search()), std::nullopt);
    setShellPath(program(u"hangs"_s, "#!/bin/sh\nsleep 1000 & echo /bin/true; wait\n"));
    AgentSearch impatient = search();
    impatient.probeDeadline = 200ms;
    EXPECT_EQ(findClaudeBinary(impatient), std::nullopt);
}

TEST(AgentLine, EachRoleHasItsPermissionsAndNoOther) {
    using namespace Qt::StringLiterals;
    const QString agent = u"it's/claude"_s, persona = u"it's-$Q"_s, session = u"0f8fad5b-d9cb-469f-a165-70867728950e"_s;
    const QString chat = u"--input-format stream-json --output-format stream-json --include-partial-messages --verbose "
                         "--effort low %1--tools WebFetch WebSearch Read Bash Edit Write Grep Glob "
                         "--append-system-prompt it's-$Q --permission-mode bypassPermissions"_s;
    const QString noReading = u"--settings {\"permissions\":{\"deny\":[\"Read\"]}}"_s;
    const std::pair<QString, QString> rows[] = {
        {agentChatLine(agent, persona, {}), chat.arg(QString())},
        {agentChatLine(agent, persona, session), chat.arg(u"--resume "_s + session + u' ')},
        {agentChatLine(agent, persona, session + u'\''), chat.arg(QString())},
        {agentWritingLine(agent, AgentEffort::Low, persona, {u"Q"_s, u"-p"_s}),
         u"--effort low --append-system-prompt it's-$Q "_s + noReading + u" -- -p"_s},
        {agentWritingLine(agent, AgentEffort::Usual, persona, {u"Q"_s, u"/-p"_s}),
         u"--append-system-prompt it's-$Q "_s + noReading + u"  -p"_s},
        {agentTransformLine(agent, u"as $Q says"_s), u"--append-system-prompt as -p says "_s + noReading},
        {agentEditLine(agent, persona), u"--permission-mode bypassPermissions --append-system-prompt it's-$Q"_s},
        {agentRouterLine(agent, persona), u"it's-$Q --permission-mode bypassPermissions"_s},
    };
    for (const auto& [line, words] : rows) {
        const ChildRun run = runToEnd(shellCommand(u"print -rn -- "_s + line, {{u"Q"_s, u"-p"_s}}));
        EXPECT_EQ(QString::fromUtf8(run.output), u"it's/claude -p "_s + words);
    }
}
