// Jobs over scripts and a stand-in for the agent, run by the real shell.
#include "transform/InsertJob.h"
#include "transform/TransformJob.h"

#include "fakes/FakeDesktop.h"

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

const JobEnd UNTOUCHED{Kind::Failed, u"transform failed — selection untouched"_s};
const JobEnd NOTHING_INSERTED{Kind::Failed, u"generation failed — nothing inserted"_s};

const QString NO_READING = QStringLiteral(R"({"permissions":{"deny":["Read"]}})");

JobEnd text(const char* utf8) { return {Kind::Text, QString::fromUtf8(utf8)}; }

struct Jobs : testing::Test {
    QTemporaryDir home;
    LogRecorder log;
    std::stop_source ending;
    AgentJob job{home.filePath(u"bin"_s), AgentSearch{}, ending.get_token()};

    Jobs() { QDir(home.path()).mkdir(u"bin"_s); }
    ~Jobs() override { setShellPath(u"/bin/zsh"_s); }

    QString install(const QString& name, const QByteArray& text) { return writeProgram(home.filePath(name), text); }
    void script(ReplaceTarget target, const QByteArray& body) {
        install(u"bin/"_s + replaceScript(target), "#!/bin/zsh\n" + body);
    }
    /// The stand-in, at a place whose name needs quoting. What it answers is this JSON.
    void installAgent(const QByteArray& scenario = "{}") {
        const QByteArray standIn = readFile(QStringLiteral(OVALIN_TESTS_DIR "/agent/fake-claude"));
        install(u"it's $here/fake"_s, standIn);
        writeFile(home.filePath(u"agent/scenario.json"_s), scenario);
        job.agent.candidates = {install(u"it's $here/claude"_s, "#!/bin/sh\nexport FAKE_CLAUDE_DIR='" +
                                                                    home.filePath(u"agent"_s).toUtf8() +
                                                                    "'\nexec \"$(dirname \"$0\")/fake\" \"$@\"\n")};
    }
    /// What the stand-in logged of this event.
    QJsonObject agentLog(const char* event) const {
        for (const QJsonObject& entry : readJsonLines(home.filePath(u"agent/log.jsonl"_s))) {
            if (entry.value(u"event"_s) == QLatin1String(event))
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
    JobEnd transform(ReplaceTarget target, const QString& selection, const QString& instruction = u"make it short"_s) {
        return runTransform({target, instruction, selection, in("Editor", "file:///a b.html")}, job);
    }
};

} // namespace

TEST_F(Jobs, WhatAScriptPrintsAndHowItEnds) {
    const JobEnd says{Kind::Failed, u"index.html is read-only"_s};
    const struct {
        const char* body;
        JobEnd plain;
        JobEnd edit;
    } rows[] = {
        {"cat", text("Grüße 🙂"), {Kind::Status, u"Grüße 🙂"_s}},
        {"print ' \n a\n b \n'", text("a\n b"), {Kind::Status, u"a\n b"_s}},
        {"exec <&-; print done", text("done"), {Kind::Status, u"done"_s}},
        {"print index.html is read-only; exit 3",
         {Kind::Failed, UNTOUCHED.text + u": index.html is read-only"_s},
         says},
        {"print 'Not logged in · Please run /login\nmore'; exit 1",
         {Kind::Failed, UNTOUCHED.text + u": Not logged in"_s},
         {Kind::Failed, u"Not logged in · Please run /login"_s}},
        {"print index.html is read-only; kill -9 $$", UNTOUCHED, says},
        {"kill -SEGV $$", UNTOUCHED, UNTOUCHED},
        {"true", UNTOUCHED, UNTOUCHED},
        {"print ' \t\n\n '", UNTOUCHED, UNTOUCHED},
        {"print -n 'half \\xc3'", UNTOUCHED, UNTOUCHED},
        {"print -n '\\xff\\xfe'", UNTOUCHED, UNTOUCHED},
        {"print $OVALIN_INSTRUCTION / $OVALIN_APP / ${OVALIN_URL-none}",
         text("make it short / Editor / none"),
         {Kind::Status, u"make it short / Editor / none"_s}},
    };
    for (const auto& row : rows) {
        script(ReplaceTarget::Plain, row.body);
        script(ReplaceTarget::File, row.body);
        EXPECT_EQ(transform(ReplaceTarget::Plain, u"Grüße 🙂"_s), row.plain) << row.body;
        EXPECT_EQ(transform(ReplaceTarget::File, u"Grüße 🙂"_s), row.edit) << row.body;
    }
    EXPECT_GT(log.count(u"exists=1"_s), 0);
    script(ReplaceTarget::File, "print -n $OVALIN_FILE");
    EXPECT_EQ(transform(ReplaceTarget::File, u"x"_s).text, u"file:///a b.html"_s);
}

TEST_F(Jobs, ASelectionOfAnySizeAndContentGoesInAndComesOut) {
    script(ReplaceTarget::Plain, "cat");
    const QString withNul = u"a"_s + QChar(QChar::Null) + u"b"_s;
    EXPECT_EQ(transform(ReplaceTarget::Plain, withNul).text, withNul);
    const QString large = u"Zeile ä\n"_s.repeated(10 * 1024 * 1024 / 9);
    EXPECT_EQ(transform(ReplaceTarget::Plain, large).text.size(), large.size() - 1);
}

TEST_F(Jobs, WhatCannotBeLaunchedSaysSo) {
    script(ReplaceTarget::Plain, "print ${#OVALIN_INSTRUCTION}");
    installAgent();
    const QString longest(130'000, u'x'), tooLong = longest + u'x'; // more is refused by the system
    EXPECT_EQ(transform(ReplaceTarget::Plain, u"x"_s, longest), text("130000"));
    EXPECT_EQ(transform(ReplaceTarget::Web, u"x"_s, longest).kind, Kind::Status) << "by the agent itself";
    EXPECT_EQ(runInsert({longest, in("Editor")}, job).kind, Kind::Text);
    const QString reason = u": the instruction is too long"_s;
    EXPECT_EQ(transform(ReplaceTarget::Plain, u"x"_s, tooLong).text, UNTOUCHED.text + reason);
    EXPECT_EQ(runInsert({tooLong, in("Editor")}, job).text, NOTHING_INSERTED.text + reason);
    setShellPath(u"/no/such/shell"_s);
    EXPECT_EQ(transform(ReplaceTarget::Plain, u"x"_s).text, u"transform launch failed"_s);
    EXPECT_EQ(runInsert({u"x"_s, in("Editor")}, job).text, u"generation launch failed"_s);
}

TEST_F(Jobs, TheEndOfTheProgramEndsAHangingChild) {
    script(ReplaceTarget::Plain, "print $$ > ${0:h}/pid; sleep 1000");
    auto end = std::async(std::launch::async, [this] { return transform(ReplaceTarget::Plain, u"x"_s); });
    const QString pidFile = home.filePath(u"bin/pid"_s);
    EXPECT_TRUE(waitUntil([&] { return readFile(pidFile).endsWith('\n'); }));
    ending.request_stop();
    EXPECT_EQ(end.get(), UNTOUCHED);
    EXPECT_FALSE(QFile::exists(u"/proc/"_s + QString::fromLatin1(readFile(pidFile).trimmed())));
}

TEST_F(Jobs, WithoutAScriptTheAgentGetsInstructionAndSelectionUnharmed) {
    installAgent(R"({"transform": [{"text": "short"}]})");
    const QString instruction = u"make 'it' \"short\"; `touch x` $(touch y) $HOME \\ ünd"_s;
    EXPECT_EQ(transform(ReplaceTarget::Plain, u"long text"_s, instruction), text("short"));
    EXPECT_EQ(agentLog("stdin").value(u"text"_s), u"long text"_s);
    const QStringList words = agentLog("start").value(u"argv"_s).toVariant().toStringList();
    const QString prompt = u"Transform the text on stdin exactly as this instruction asks: "_s + instruction +
                           u". Output ONLY the transformed text - no preamble, no quotes, no commentary."_s;
    EXPECT_EQ(words, (QStringList{u"-p"_s, u"--append-system-prompt"_s, prompt, u"--settings"_s, NO_READING}));

    EXPECT_EQ(transform(ReplaceTarget::Web, u"x"_s).kind, Kind::Status) << "the same, but said, not pasted";
}

TEST_F(Jobs, TheEditPromptsReachTheAgentAsTheyAreWritten) {
    const struct {
        ReplaceTarget target;
        const char* part;
    } rows[] = {{ReplaceTarget::File, "the local file $OVALIN_FILE. The text"},
                {ReplaceTarget::Quarn, "if $OVALIN_INSTRUCTION is bare words"}};
    for (const auto& row : rows) {
        QFile::remove(home.filePath(u"agent/log.jsonl"_s));
        installAgent(R"({"transform": [{"text": "edited a.html"}]})");
        EXPECT_EQ(transform(row.target, u"x"_s), (JobEnd{Kind::Status, u"edited a.html"_s}));
        const QStringList words = agentLog("start").value(u"argv"_s).toVariant().toStringList();
        EXPECT_EQ(words.mid(1, 2), (QStringList{u"--permission-mode"_s, u"bypassPermissions"_s}));
        EXPECT_TRUE(words.value(4).contains(QLatin1String(row.part))) << words.join(u' ').toStdString();
    }
}

TEST_F(Jobs, NoScriptAndNoAgent) {
    for (const auto target : {ReplaceTarget::Plain, ReplaceTarget::File, ReplaceTarget::Quarn, ReplaceTarget::Web})
        EXPECT_EQ(transform(target, u"x"_s).text, agentMissingMessage());
    EXPECT_EQ(runInsert({u"x"_s, in("Editor")}, job).text, agentMissingMessage());
    installAgent();
    EXPECT_EQ(transform(ReplaceTarget::Torvi, u"x"_s).text, agentMissingMessage())
        << "the agent cannot stand in for that script";
}

TEST_F(Jobs, InsertAsksTheAgentForTheText) {
    installAgent(R"({"insert": [{"text": "\"Dear {user}\""}]})");
    for (const char* asked : {"it's a \"$HOME\" `note`", "-p and dashes", "--help"}) {
        QFile::remove(home.filePath(u"agent/log.jsonl"_s));
        const QString instruction = QString::fromUtf8(asked);
        EXPECT_EQ(runInsert({instruction, in("Ann's Mail")}, job),
                  (JobEnd{Kind::Text, u"\"Dear %1\""_s.arg(instruction)}));
        const QStringList words = agentLog("start").value(u"argv"_s).toVariant().toStringList();
        EXPECT_EQ(words.value(2),
                  u"Write the text the instruction asks for, ready to be typed into Ann's Mail. Output ONLY the "
                  "text - no preamble, no quotes, no commentary. The user is in Ann's Mail."_s);
        EXPECT_EQ(agentLog("stdin").value(u"text"_s), QString());
    }
    (void)runInsert({u"x"_s, in("Chrome", "https://a/")}, job);
    EXPECT_TRUE(readFile(home.filePath(u"agent/log.jsonl"_s)).contains("The user is in Chrome. Page: https://a/.\""));
    const struct {
        const char* scenario;
        QString reason;
    } failures[] = {{R"({"insert": [{"text": " \n "}]})", {}},
                    {R"({"insert": {"end": "crash"}})", {}},
                    {R"({"insert": {"error": "Not logged in · Please run /login"}})", u": Not logged in"_s}};
    for (const auto& row : failures) {
        installAgent(row.scenario);
        EXPECT_EQ(runInsert({u"x"_s, in("Editor")}, job), (JobEnd{Kind::Failed, NOTHING_INSERTED.text + row.reason}))
            << row.scenario;
    }
}

TEST_F(Jobs, WordsThatLookLikeTheAgentsOwnAreWords) {
    const QString secret = home.filePath(u"secret"_s);
    writeFile(secret, "not for the agent");
    for (const QString& words : {u"/cost of living rises"_s, QLatin1Char('@') + secret + u'.', u"/help @"_s + secret,
                                 u"see @\"%1\""_s.arg(secret)}) {
        installAgent();
        (void)transform(ReplaceTarget::Plain, words);
        (void)transform(ReplaceTarget::File, words);
        (void)runInsert({words, in("Editor")}, job);
        const QByteArray heard = readFile(home.filePath(u"agent/log.jsonl"_s));
        EXPECT_EQ(heard.count("\"role\""), 3) << words.toStdString();
        EXPECT_FALSE(heard.contains("\"command\"") || heard.contains("\"read\"")) << heard.toStdString();
        QFile::remove(home.filePath(u"agent/log.jsonl"_s));
    }
}
