// Jobs over scripts and a stand-in for the agent, run by the real shell.
#include "transform/InsertJob.h"
#include "transform/TransformJob.h"

#include "fakes/FakeDesktop.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

using namespace ovalin;
using namespace std::chrono_literals;
using Kind = JobEnd::Kind;

namespace ovalin {
void PrintTo(const JobEnd& end, std::ostream* out) {
    *out << (end.kind == Kind::Text     ? "text "
             : end.kind == Kind::Status ? "status "
                                        : "failed ")
         << end.text.left(200).toStdString();
}
} // namespace ovalin

namespace {

const JobEnd UNTOUCHED{Kind::Failed, QStringLiteral("transform failed — selection untouched")};
const JobEnd NOTHING_INSERTED{Kind::Failed, QStringLiteral("generation failed — nothing inserted")};

const QString NO_READING = QStringLiteral(R"({"permissions":{"deny":["Read"]}})");

JobEnd text(const char* utf8) { return {Kind::Text, QString::fromUtf8(utf8)}; }

struct Jobs : testing::Test {
    QTemporaryDir home;
    LogRecorder log;
    std::stop_source ending;
    AgentJob job{home.filePath(QStringLiteral("bin")), AgentSearch{}, ending.get_token()};

    Jobs() { QDir(home.path()).mkdir(QStringLiteral("bin")); }
    ~Jobs() override { setShellPath(QStringLiteral("/bin/zsh")); }

    QString install(const QString& name, const QByteArray& text) {
        const QString path = home.filePath(name);
        writeFile(path, text);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    void script(ReplaceTarget target, const QByteArray& body) {
        install(QStringLiteral("bin/") + replaceScript(target), "#!/bin/zsh\n" + body);
    }
    /// The stand-in, at a place whose name needs quoting. What it answers is this JSON.
    void installAgent(const QByteArray& scenario = "{}") {
        const QByteArray standIn = readFile(QStringLiteral(OVALIN_TESTS_DIR "/agent/fake-claude"));
        install(QStringLiteral("it's $here/fake"), standIn);
        writeFile(home.filePath(QStringLiteral("agent/scenario.json")), scenario);
        job.agent.candidates = {
            install(QStringLiteral("it's $here/claude"), "#!/bin/sh\nexport FAKE_CLAUDE_DIR='" +
                                                             home.filePath(QStringLiteral("agent")).toUtf8() +
                                                             "'\nexec \"$(dirname \"$0\")/fake\" \"$@\"\n")};
    }
    /// What the stand-in logged of this event.
    QJsonObject agentLog(const char* event) const {
        const QByteArray lines = readFile(home.filePath(QStringLiteral("agent/log.jsonl")));
        for (const QByteArray& line : lines.split('\n')) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            if (entry.value(QStringLiteral("event")) == QLatin1String(event))
                return entry;
        }
        return {};
    }
    static Subject in(const char* app, const char* url = nullptr) {
        Subject subject;
        subject.capApp = QString::fromUtf8(app);
        if (url)
            subject.capURL = QString::fromUtf8(url);
        return subject;
    }
    JobEnd transform(ReplaceTarget target, const QString& selection,
                     const QString& instruction = QStringLiteral("make it short")) {
        return runTransform({target, instruction, selection, in("Editor", "file:///a b.html")}, job);
    }
};

} // namespace

TEST_F(Jobs, WhatAScriptPrintsAndHowItEnds) {
    const JobEnd says{Kind::Failed, QStringLiteral("index.html is read-only")};
    const struct {
        const char* body;
        JobEnd plain;
        JobEnd edit;
    } rows[] = {
        {"cat", text("Grüße 🙂"), {Kind::Status, QStringLiteral("Grüße 🙂")}},
        {"print ' \n a\n b \n'", text("a\n b"), {Kind::Status, QStringLiteral("a\n b")}},
        {"exec <&-; print done", text("done"), {Kind::Status, QStringLiteral("done")}},
        {"print index.html is read-only; exit 3",
         {Kind::Failed, UNTOUCHED.text + QStringLiteral(": index.html is read-only")},
         says},
        {"print 'Not logged in · Please run /login\nmore'; exit 1",
         {Kind::Failed, UNTOUCHED.text + QStringLiteral(": Not logged in")},
         {Kind::Failed, QStringLiteral("Not logged in · Please run /login")}},
        {"print index.html is read-only; kill -9 $$", UNTOUCHED, says},
        {"kill -SEGV $$", UNTOUCHED, UNTOUCHED},
        {"true", UNTOUCHED, UNTOUCHED},
        {"print ' \t\n\n '", UNTOUCHED, UNTOUCHED},
        {"print -n 'half \\xc3'", UNTOUCHED, UNTOUCHED},
        {"print -n '\\xff\\xfe'", UNTOUCHED, UNTOUCHED},
        {"print $OVALIN_INSTRUCTION / $OVALIN_APP / ${OVALIN_URL-none}",
         text("make it short / Editor / none"),
         {Kind::Status, QStringLiteral("make it short / Editor / none")}},
    };
    for (const auto& row : rows) {
        script(ReplaceTarget::Plain, row.body);
        script(ReplaceTarget::File, row.body);
        EXPECT_EQ(transform(ReplaceTarget::Plain, QStringLiteral("Grüße 🙂")), row.plain) << row.body;
        EXPECT_EQ(transform(ReplaceTarget::File, QStringLiteral("Grüße 🙂")), row.edit) << row.body;
    }
    EXPECT_GT(log.count(QStringLiteral("exists=1")), 0);
    script(ReplaceTarget::File, "print -n $OVALIN_FILE");
    EXPECT_EQ(transform(ReplaceTarget::File, QStringLiteral("x")).text, QStringLiteral("file:///a b.html"));
}

TEST_F(Jobs, ASelectionOfAnySizeAndContentGoesInAndComesOut) {
    script(ReplaceTarget::Plain, "cat");
    const QString withNul = QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b");
    EXPECT_EQ(transform(ReplaceTarget::Plain, withNul).text, withNul);
    const QString large = QStringLiteral("Zeile ä\n").repeated(10 * 1024 * 1024 / 9);
    EXPECT_EQ(transform(ReplaceTarget::Plain, large).text.size(), large.size() - 1);
}

TEST_F(Jobs, WhatCannotBeLaunchedSaysSo) {
    script(ReplaceTarget::Plain, "print ${#OVALIN_INSTRUCTION}");
    installAgent();
    const QString longest(130'000, u'x'), tooLong = longest + u'x'; // more is refused by the system
    EXPECT_EQ(transform(ReplaceTarget::Plain, QStringLiteral("x"), longest), text("130000"));
    EXPECT_EQ(transform(ReplaceTarget::Web, QStringLiteral("x"), longest).kind, Kind::Status) << "by the agent itself";
    EXPECT_EQ(runInsert({longest, in("Editor")}, job).kind, Kind::Text);
    const QString reason = QStringLiteral(": the instruction is too long");
    EXPECT_EQ(transform(ReplaceTarget::Plain, QStringLiteral("x"), tooLong).text, UNTOUCHED.text + reason);
    EXPECT_EQ(runInsert({tooLong, in("Editor")}, job).text, NOTHING_INSERTED.text + reason);
    setShellPath(QStringLiteral("/no/such/shell"));
    EXPECT_EQ(transform(ReplaceTarget::Plain, QStringLiteral("x")).text, QStringLiteral("transform launch failed"));
    EXPECT_EQ(runInsert({QStringLiteral("x"), in("Editor")}, job).text, QStringLiteral("generation launch failed"));
}

TEST_F(Jobs, TheEndOfTheProgramEndsAHangingChild) {
    script(ReplaceTarget::Plain, "print $$ > ${0:h}/pid; sleep 1000");
    auto end = std::async(std::launch::async, [this] { return transform(ReplaceTarget::Plain, QStringLiteral("x")); });
    const QString pidFile = home.filePath(QStringLiteral("bin/pid"));
    EXPECT_TRUE(waitUntil([&] { return readFile(pidFile).endsWith('\n'); }));
    ending.request_stop();
    EXPECT_EQ(end.get(), UNTOUCHED);
    EXPECT_FALSE(QFile::exists(QStringLiteral("/proc/") + QString::fromLatin1(readFile(pidFile).trimmed())));
}

TEST_F(Jobs, WithoutAScriptTheAgentGetsInstructionAndSelectionUnharmed) {
    installAgent(R"({"transform": [{"text": "short"}]})");
    const QString instruction = QStringLiteral("make 'it' \"short\"; `touch x` $(touch y) $HOME \\ ünd");
    EXPECT_EQ(transform(ReplaceTarget::Plain, QStringLiteral("long text"), instruction), text("short"));
    EXPECT_EQ(agentLog("stdin").value(QStringLiteral("text")), QStringLiteral("long text"));
    const QStringList words = agentLog("start").value(QStringLiteral("argv")).toVariant().toStringList();
    const QString prompt =
        QStringLiteral("Transform the text on stdin exactly as this instruction asks: ") + instruction +
        QStringLiteral(". Output ONLY the transformed text - no preamble, no quotes, no commentary.");
    EXPECT_EQ(words, (QStringList{QStringLiteral("-p"), QStringLiteral("--append-system-prompt"), prompt,
                                  QStringLiteral("--settings"), NO_READING}));

    EXPECT_EQ(transform(ReplaceTarget::Web, QStringLiteral("x")).kind, Kind::Status)
        << "the same, but said, not pasted";
}

TEST_F(Jobs, TheEditPromptsReachTheAgentAsTheyAreWritten) {
    const struct {
        ReplaceTarget target;
        const char* part;
    } rows[] = {{ReplaceTarget::File, "the local file $OVALIN_FILE. The text"},
                {ReplaceTarget::Quarn, "if $OVALIN_INSTRUCTION is bare words"}};
    for (const auto& row : rows) {
        QFile::remove(home.filePath(QStringLiteral("agent/log.jsonl")));
        installAgent(R"({"transform": [{"text": "edited a.html"}]})");
        EXPECT_EQ(transform(row.target, QStringLiteral("x")), (JobEnd{Kind::Status, QStringLiteral("edited a.html")}));
        const QStringList words = agentLog("start").value(QStringLiteral("argv")).toVariant().toStringList();
        EXPECT_EQ(words.mid(1, 2),
                  (QStringList{QStringLiteral("--permission-mode"), QStringLiteral("bypassPermissions")}));
        EXPECT_TRUE(words.value(4).contains(QLatin1String(row.part))) << words.join(u' ').toStdString();
    }
}

TEST_F(Jobs, NoScriptAndNoAgent) {
    for (const auto target : {ReplaceTarget::Plain, ReplaceTarget::File, ReplaceTarget::Quarn, ReplaceTarget::Web})
        EXPECT_EQ(transform(target, QStringLiteral("x")).text, agentMissingMessage());
    EXPECT_EQ(runInsert({QStringLiteral("x"), in("Editor")}, job).text, agentMissingMessage());
    installAgent();
    EXPECT_EQ(transform(ReplaceTarget::Torvi, QStringLiteral("x")).text, agentMissingMessage())
        << "the agent cannot stand in for that script";
}

TEST_F(Jobs, InsertAsksTheAgentForTheText) {
    installAgent(R"({"insert": [{"text": "\"Dear {user}\""}]})");
    for (const char* asked : {"it's a \"$HOME\" `note`", "-p and dashes", "--help"}) {
        QFile::remove(home.filePath(QStringLiteral("agent/log.jsonl")));
        const QString instruction = QString::fromUtf8(asked);
        EXPECT_EQ(runInsert({instruction, in("Ann's Mail")}, job),
                  (JobEnd{Kind::Text, QStringLiteral("\"Dear %1\"").arg(instruction)}));
        const QStringList words = agentLog("start").value(QStringLiteral("argv")).toVariant().toStringList();
        EXPECT_EQ(words.value(2),
                  QStringLiteral(
                      "Write the text the instruction asks for, ready to be typed into Ann's Mail. Output ONLY the "
                      "text - no preamble, no quotes, no commentary. The user is in Ann's Mail."));
        EXPECT_EQ(agentLog("stdin").value(QStringLiteral("text")), QString());
    }
    (void)runInsert({QStringLiteral("x"), in("Chrome", "https://a/")}, job);
    EXPECT_TRUE(readFile(home.filePath(QStringLiteral("agent/log.jsonl")))
                    .contains("The user is in Chrome. Page: https://a/.\""));
    const struct {
        const char* scenario;
        QString reason;
    } failures[] = {
        {R"({"insert": [{"text": " \n "}]})", {}},
        {R"({"insert": {"end": "crash"}})", {}},
        {R"({"insert": {"error": "Not logged in · Please run /login"}})", QStringLiteral(": Not logged in")}};
    for (const auto& row : failures) {
        installAgent(row.scenario);
        EXPECT_EQ(runInsert({QStringLiteral("x"), in("Editor")}, job),
                  (JobEnd{Kind::Failed, NOTHING_INSERTED.text + row.reason}))
            << row.scenario;
    }
}

TEST_F(Jobs, WordsThatLookLikeTheAgentsOwnAreWords) {
    const QString secret = home.filePath(QStringLiteral("secret"));
    writeFile(secret, "not for the agent");
    for (const QString& words : {QStringLiteral("/cost of living rises"), QLatin1Char('@') + secret + u'.',
                                 QStringLiteral("/help @") + secret, QStringLiteral("see @\"%1\"").arg(secret)}) {
        installAgent();
        (void)transform(ReplaceTarget::Plain, words);
        (void)transform(ReplaceTarget::File, words);
        (void)runInsert({words, in("Editor")}, job);
        const QByteArray heard = readFile(home.filePath(QStringLiteral("agent/log.jsonl")));
        EXPECT_EQ(heard.count("\"role\""), 3) << words.toStdString();
        EXPECT_FALSE(heard.contains("\"command\"") || heard.contains("\"read\"")) << heard.toStdString();
        QFile::remove(home.filePath(QStringLiteral("agent/log.jsonl")));
    }
}
