#include "base/AgentCli.h"

#include "base/children/ChildProcess.h"
#include "support/Testing.h"

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
        writeProgram(path(name), lines);
        if (!executable)
            QFile::setPermissions(path(name), QFile::Permissions(0x6644));
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
