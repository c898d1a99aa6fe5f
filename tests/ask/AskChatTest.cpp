#include "ask/AskChat.h"

#include "support/HttpServer.h"
#include "ask/WebSearch.h"

#include "fakes/FakeViews.h"
#include "history/AskHistoryEntries.h"

#include <QTest>

using testing::HasSubstr;

namespace {

/// A conversation with an agent that is a shell script.
struct AskChatTest : testing::Test {
    QTemporaryDir folder;
    QtDispatch dispatch;
    LinkVerifier verifier;
    CaptureContext context;
    FakeChatView view;
    QString status;
    bool streams = false;
    QString answerAtEnd;
    std::optional<AskChat> chat;
    std::vector<AskTurn> stored;
    QStringList evicted, unanswered;
    QString selection = u"the excerpt"_s;
    std::function<QString()> search = [] { return QString(); };

    AskChatTest() { context.capApp = u"Editor"_s; }
    ~AskChatTest() override {
        chat.reset();
        dispatch.finish();
        LiveChild::awaitEnds();
    }

    /// `script`: run by zsh with the folder as $D, and a word for each line that an agent prints.
    void start(const QByteArray& script) {
        const QString path = folder.filePath(u"ask-stream.sh"_s);
        writeProgram(path, "#!/bin/zsh\nD='" + folder.path().toUtf8() + "'; S=" + SESSION + R"sh(
print $$ $OVALIN_ASK_RESUME >> $D/starts
recorded() { cat )sh" OVALIN_TESTS_DIR R"sh(/ask/recorded/$1.jsonl }
event() { print -r '{"type":"stream_event","session_id":"'$S'","event":'$1'}' }
delta() { event '{"type":"content_block_delta","delta":{"text":"'$1'"}}' }
tool() { event '{"type":"content_block_start","content_block":{"type":"tool_use","name":"'$1'"}}' }
result() { print -r '{"type":"result","subtype":"'$1'","result":"'$2'"}' }
)sh" + script);
        chat.emplace(dispatch, verifier, view, context,
                     AskChat::Sources{{path, AgentSearch{}},
                                      [this](const QString&) { return search(); },
                                      [this] { return [text = selection] { return text; }; }});
        QObject::connect(&*chat, &AskChat::said, &*chat, [this](const QString& text) { status = text; });
        QObject::connect(&*chat, &AskChat::answering, &*chat, [this](bool begins) {
            streams = begins;
            answerAtEnd = answer();
        });
        QObject::connect(&*chat, &AskChat::turnStored, &*chat, [this](const AskTurn& turn) { stored.push_back(turn); });
        QObject::connect(&*chat, &AskChat::evicted, &*chat, [this](const QString& id) { evicted.append(id); });
        QObject::connect(&*chat, &AskChat::unanswered, &*chat, [this](const QString& q) { unanswered.append(q); });
    }
    bool ask(const char* question) { return chat->sendAskTurn(QString::fromUtf8(question)); }
    bool waitForEnd() {
        return waitUntil([this] { return !chat->streaming(); });
    }
    [[nodiscard]] const QString& answer() const { return view.answer; }
    [[nodiscard]] QByteArray file(const char* name) const { return readFile(folder.filePath(QLatin1String(name))); }
    [[nodiscard]] const QString& conversation() const { return view.conversation; }

    static PastConversation session(const QByteArray& id) { return {QString::fromUtf8(id), {}, {}, false, {}, {}, {}}; }
    static constexpr const char* SESSION = "5f0c2a9e-8d1b-4c57-9a3e-0b6d4e7f1a22";
};

} // namespace

TEST_F(AskChatTest, WhatTheRealAgentPrintsBecomesTheAnswer) {
    const struct {
        const char *recorded, *answer;
        bool stored;
    } ROWS[] = {
        {"plain", "Hello there, this is the mock.", true},
        {"two-blocks", "First block.Second block.", true},
        {"thinking", "I have thought.", true},
        {"tool-bash", "Let me look.The command said: tool-ran\n/", true},
        {"error-drop", "Half an ans", true},
        {"error-midway",
         "Half an ansEcho: Your response above was cut off mid-stream. Resume directly from where it stops — no "
         "apology, no recap. If none of it survived, answer the request from the start.",
         true},
        {"error-401", "\n[Invalid API key · Fix external API key]", false},
        {"not-logged-in", "\n[Not logged in · Please run /login]", false},
        {"resume-unknown", "\n[Torvi hit an error.]", false},
        {"unicode", "Grüße, 世界 👩‍👩‍👧 e\u0301 \u2028end", true},
    };
    for (const auto& row : ROWS) {
        stored.clear();
        start(QByteArray("read -r line; recorded ") + row.recorded + "; read -r line\n");
        ask("what now?");
        ASSERT_TRUE(waitForEnd()) << row.recorded;
        EXPECT_EQ(answer().toStdString(), row.answer) << row.recorded;
        EXPECT_EQ(stored.size(), row.stored ? 1 : 0) << row.recorded;
        EXPECT_EQ(status, QString()) << row.recorded;
        EXPECT_FALSE(streams);
    }
}

TEST_F(AskChatTest, TheContextIsToldOnceAndTheHighlightEachTime) {
    context.capContextMode = u"screenshot"_s;
    context.capShot = QByteArray(1 << 20, 'A');
    context.capShotText = QString(5000, QLatin1Char('t'));
    start("while read -r line; do print -r -- $line >> $D/asked; delta ok; result success; done\n");
    ask("  first 'question'\n");
    ASSERT_TRUE(waitForEnd());
    selection.clear();
    ask("second");
    ASSERT_TRUE(waitForEnd());
    const auto lines = file("asked").split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_THAT(
        lines[0].toStdString(),
        HasSubstr("Jorvan is looking at Editor.\\n\\nA screenshot of what he's looking at is attached — use it "
                  "as the full context.\\n\\nText on his screen (on-device OCR, may have minor "
                  "errors):\\n\\\"\\\"\\\"\\n" +
                  std::string(4000, 't') +
                  "\\n\\\"\\\"\\\"\\n\\nHe has highlighted this specific part to focus on:\\n\\\"\\\"\\\"\\nthe "
                  "excerpt\\n\\\"\\\"\\\"\\n\\nNO web search results are available"));
    EXPECT_THAT(lines[0].toStdString(), HasSubstr("\\n\\nQuestion: first 'question'\""));
    EXPECT_THAT(lines[0].toStdString(), HasSubstr("\"media_type\":\"image/png\""));
    for (int i : {0, 1}) // where the agent looks for commands and paths
        EXPECT_TRUE(lines[i].contains(R"({"text":"Answer the question above.","type":"text"}],"role")")) << i;
    EXPECT_GT(lines[0].size(), 1 << 20);
    EXPECT_THAT(lines[1].left(200).toStdString(), HasSubstr("\"text\":\"NO web search results"));
    EXPECT_EQ(conversation(), u"YOU\nfirst 'question'\n\nTORVI\nok\n\nYOU\nsecond\n\nTORVI\nok"_s);
    EXPECT_EQ(stored.at(1).firstQuestion, u"first 'question'"_s);
}

TEST_F(AskChatTest, OnlyOneQuestionAtATimeAndNoBlankOne) {
    start("read -r line; delta Begin; sleep 60\n");
    EXPECT_FALSE(ask("  "));
    EXPECT_EQ(conversation(), QString());
    EXPECT_TRUE(ask("one"));
    EXPECT_FALSE(ask("two"));
    EXPECT_TRUE(streams);
    ASSERT_TRUE(waitUntil([this] { return answer() == u"Begin"_s; }));
    EXPECT_TRUE(chat->streaming());
}

TEST_F(AskChatTest, AStopWhileSearchingSendsNothing) {
    std::atomic<bool> found = false;
    search = [&found] {
        waitUntil([&found] { return found.load(); });
        return QString();
    };
    start("while read -r line; do print -r -- $line >> $D/asked; delta ok; result success; done\n");
    ask("one");
    EXPECT_EQ(status, u"searching…"_s);
    chat->stopAskTurn();
    EXPECT_EQ(status, u"stopped — ask again to pick up where it left off"_s);
    EXPECT_EQ(answer(), u"\n[stopped]"_s);
    found = true;
    ask("two");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(file("asked").count('\n'), 1);
    EXPECT_THAT(file("asked").toStdString(), HasSubstr("Question: two"));
}

TEST_F(AskChatTest, AStoppedAnswerIsKeptAndItsConversationResumed) {
    start("read -r line; delta Half; sleep 60\n");
    ask("one");
    ASSERT_TRUE(waitUntil([this] { return answer() == u"Half"_s; }));
    chat->stopAskTurn();
    ASSERT_EQ(stored.size(), 1);
    EXPECT_TRUE(stored[0].interrupted);
    EXPECT_EQ(stored[0].answer, u"Half\n[stopped]"_s);
    EXPECT_TRUE(waitUntil([this] { return file("starts").count('\n') == 2; }));
    EXPECT_TRUE(file("starts").endsWith(QByteArray(" ") + SESSION + "\n"));
    chat->closing();
    EXPECT_EQ(stored.size(), 1) << "a turn is stored once";
}

TEST_F(AskChatTest, ADeadAgentEndsTheAnswerAndTheNextQuestionStartsAnother) {
    start("read -r line; delta Half; exit 1\n");
    ask("one");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(answer(), u"Half\n[Torvi's chat process ended]"_s);
    EXPECT_EQ(answerAtEnd, answer()) << "all of it is read out";
    ask("two");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(file("starts").count('\n'), 2);
    EXPECT_TRUE(stored.empty());
    chat->closing();
    EXPECT_EQ(stored.size(), 1) << "closing keeps what an error ended";
}

TEST_F(AskChatTest, ThePageIsToldWithItsTitleAndTheHintToFetchIt) {
    context.capContextMode = u"fetch"_s;
    context.capURL = u"https://x.example/a"_s;
    for (const auto& [title, shown] : {std::pair("Two words", "\\\"Two words\\\" — "), std::pair("", "")}) {
        context.capTitle = QString::fromUtf8(title);
        start("read -r line; print -r -- $line > $D/asked; delta ok; result success; sleep 60\n");
        ask("what?");
        ASSERT_TRUE(waitForEnd());
        EXPECT_THAT(file("asked").toStdString(),
                    HasSubstr(std::string("Editor.\\n\\nThe page he's on: ") + shown +
                              "https://x.example/a\\nFetch this URL when the question needs the page's "
                              "content.\\n\\nHe has highlighted"));
    }
}

TEST_F(AskChatTest, ARefusedResumeCostsOneReturn) {
    PastConversation old = session(SESSION);
    old.age = u"3h ago"_s;
    old.first = u"old?"_s;
    old.preview = {{true, u"old?"_s}, {false, u"yes"_s}};
    const QByteArray fresh = "; fi; while read -r line; do print -r -- $line >> $D/asked; delta new; print -r "
                             "'{\"type\":\"result\",\"subtype\":\"success\",\"session_id\":\"another\"}'; done\n";
    enum { Idle, Searching, Written, Begun };
    const std::pair<int, QByteArray> rows[] = {
        {Idle, "result error_during_execution; read -r line; exit 1"},
        {Searching, "while [[ ! -e $D/go ]] { sleep 0.01 }; result error_during_execution; exit 1"},
        {Written, "read -r line; result error_during_execution; exit 1"},
        {Begun, "read -r line; delta Half; result error_during_execution; sleep 60"},
        {Begun, "read -r line; tool Bash; result error_during_execution; sleep 60"}};
    for (const auto& row : rows) {
        const int when = row.first;
        const QByteArray& refusal = row.second;
        evicted.clear();
        stored.clear();
        QFile::remove(folder.filePath(u"asked"_s));
        QFile::remove(folder.filePath(u"go"_s));
        std::atomic<bool> found = when != Searching;
        search = [&found] {
            waitUntil([&found] { return found.load(); });
            return QString();
        };
        start("if [[ -n $OVALIN_ASK_RESUME ]]; then " + refusal + fresh);
        bool switched = false;
        chat->resumeAskSession(old, [&switched] { switched = true; });
        EXPECT_TRUE(switched);
        EXPECT_EQ(status, u"resumed — 3h ago"_s);
        EXPECT_EQ(conversation(), u"YOU\nold?\n\nTORVI\nyes"_s);
        const QString told = u"couldn't resume that conversation — starting fresh"_s;
        if (when == Idle) {
            EXPECT_TRUE(waitUntil([&] { return status == told; })) << "it is told before anything is asked";
        }
        ask("and now?");
        writeFile(folder.filePath(u"go"_s), "");
        EXPECT_TRUE(waitUntil([&, idle = when == Idle] { return idle || status == told; })) << when;
        found = true;
        ASSERT_TRUE(waitForEnd()) << when;
        EXPECT_EQ(evicted, QStringList{QString::fromLatin1(SESSION)}) << when;
        if (when == Begun) {
            EXPECT_TRUE(stored.empty()) << "what has been begun is not done twice";
            EXPECT_NE(answer(), u"new"_s);
            continue;
        }
        EXPECT_EQ(answer(), u"new"_s) << when;
        EXPECT_EQ(file("asked").count("Question: and now?"), 1) << when;
        EXPECT_THAT(file("asked").toStdString(), HasSubstr("Jorvan is looking at"));
        ASSERT_EQ(stored.size(), 1) << when;
        EXPECT_EQ(stored[0].sessionId, u"another"_s);
        EXPECT_EQ(stored[0].opening(), u"and now?"_s);
        EXPECT_EQ(conversation().count(u"and now?"_s), 1);
    }
}

TEST_F(AskChatTest, WhatWasSaidOfACutAnswerIsToldWithTheNextQuestion) {
    start("if [[ -z $OVALIN_ASK_RESUME ]]; then read -r line; delta Half; sleep 60; fi; while read -r line; do print "
          "-r -- "
          "$line >> $D/asked; delta ok; result success; done\n");
    const QByteArray block = R"({"text":"Your last answer was cut short, and you may not remember it. You had said:\n)"
                             R"(\"\"\"\nHalf\n\"\"\"","type":"text"},{"text":"Answer the question)";
    ask("one");
    ASSERT_TRUE(waitUntil([this] { return answer() == u"Half"_s; }));
    chat->stopAskTurn();
    for (const char* question : {"two", "three"}) {
        ask(question);
        ASSERT_TRUE(waitForEnd());
    }
    EXPECT_TRUE(file("asked").split('\n')[0].contains(block)) << file("asked").constData();
    EXPECT_FALSE(file("asked").split('\n')[1].contains("cut short"));

    // The answer is cut, and the conversation is opened again later.
    AskHistoryEntries entries;
    storeTurn(entries, stored[0], QDateTime::currentDateTimeUtc());
    chat->resumeAskSession(*pastConversation(entries[0], {}), [] {});
    ask("four");
    ASSERT_TRUE(waitForEnd());
    EXPECT_TRUE(file("asked").split('\n')[2].contains(block)) << file("asked").constData();
}

TEST_F(AskChatTest, AQuestionThatNobodyHasBegunToAnswerIsGivenBack) {
    start("read -r line; delta ok; result success; touch $D/first; read -r line; sleep 60\n");
    ask("one");
    chat->closing();
    EXPECT_EQ(unanswered, QStringList{u"one"_s}) << "while searching";
    ASSERT_TRUE(waitForEnd());
    ask("two");
    ASSERT_TRUE(waitUntil([this] { return status == u"Torvi is thinking…"_s; }));
    chat->closing();
    EXPECT_EQ(unanswered.last(), u"two"_s);
    start("read -r line; delta Begin; sleep 60\n");
    unanswered.clear();
    ask("three");
    ASSERT_TRUE(waitUntil([this] { return answer() == u"Begin"_s; }));
    chat->closing();
    EXPECT_TRUE(unanswered.isEmpty()) << "the agent was at it";
}

TEST_F(AskChatTest, TheLinksOfAnAnswerAreCheckedAndThoseThatAreGoneLeadToASearch) {
    HttpServer server;
    server.answers = {{"/ok", "200 OK"}, {"/gone", "404 Not Found"}};
    context.capURL = server.url(u"/page"_s); // whose host may be asked
    const QString gone = server.url(u"/gone"_s), fine = server.url(u"/ok"_s);
    start("read -r line; delta '[Old page](" + gone.toUtf8() + ") or [it](" + fine.toUtf8() +
          ")'; result success; sleep 60\n");
    ask("where?");
    ASSERT_TRUE(waitUntil([this] { return status == u"checking links…"_s; }));
    EXPECT_FALSE(streams) << "the next question need not wait";
    ASSERT_TRUE(waitUntil([this] { return status.isEmpty(); }));
    auto expected = attributedAnswer(answer());
    ASSERT_EQ(expected.size(), 2u);
    expected[0].target = googleSearchURL(u"Old page"_s);
    EXPECT_EQ(view.links, expected);
}

TEST_F(AskChatTest, WhatTheAgentDoesShowsUntilItSpeaks) {
    start("go() { until [[ -e $D/$1 ]] { sleep 0.01 } }\n"
          "read -r line; tool Bash; go 1; delta text; go 2; tool Read; go 3; result success; tool Edit; touch $D/4; "
          "sleep 60\n");
    ask("do it");
    const std::pair<const char*, const char*> rows[] = {
        {"running a command…", "1"}, {"", "2"}, {"reading files…", "3"}};
    for (const auto& [expected, next] : rows) {
        EXPECT_TRUE(waitUntil([&, shown = QString::fromUtf8(expected)] { return status == shown; })) << expected;
        writeFile(folder.filePath(QLatin1String(next)), "");
    }
    ASSERT_TRUE(waitForEnd());
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(folder.filePath(u"4"_s)); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(status, QString()) << "nothing is being done for the user any more";
}

TEST_F(AskChatTest, EveryFailureSaysWhatItWas) {
    const QString half = u"half "_s + QChar(0xd83d);
    const QString one = u"one"_s;
    const std::tuple<QByteArray, QString, QString> rows[] = {
        {"read -r line; exec <&-; sleep 0.2; exit 3\n", one, u"\n[Torvi's chat process ended]"_s},
        {"exec <&-; touch $D/closed; sleep 60\n", one, u"\n[could not reach Torvi's chat process]"_s},
        {"read -r line; result error_max_turns; sleep 60\n", one, u"\n[Torvi hit an error.]"_s},
        {"read -r line; result error_max_turns 'Credit balance is too low'; sleep 60\n", one,
         u"\n[Credit balance is too low]"_s},
        {"read -r line; sleep 60\n", half, u"\n[could not encode the question]"_s},
    };
    for (const auto& [script, question, expected] : rows) {
        start(script);
        if (script.contains("closed")) {
            chat->startWarmAsk();
            ASSERT_TRUE(waitUntil([this] { return QFile::exists(folder.filePath(u"closed"_s)); }));
        }
        chat->sendAskTurn(question);
        ASSERT_TRUE(waitForEnd()) << script.constData();
        EXPECT_EQ(answer(), expected) << script.constData();
        EXPECT_FALSE(streams);
        EXPECT_TRUE(stored.empty());
    }
}

TEST_F(AskChatTest, TheDirectCommandLineIsWhole) {
    const QString agent = folder.filePath(u"it's -an agent/claude"_s);
    const QByteArray log = folder.filePath(u"args"_s).toUtf8();
    writeProgram(agent, "#!/bin/sh\n{ pwd; printf '%s\\n' \"${OVALIN_ASK_RESUME-none}\" \"$@\"; echo .; } >> '" + log +
                            "'\nread line\n");
    start("");
    chat.emplace(dispatch, verifier, view, context,
                 AskChat::Sources{{folder.filePath(u"none"_s), AgentSearch{{agent}}},
                                  [](const QString&) { return QString(); },
                                  [] { return [] { return QString(); }; }});
    const QByteArray head =
        "-p\n--input-format\nstream-json\n--output-format\nstream-json\n--include-partial-messages\n"
        "--verbose\n--effort\nlow\n";
    const QByteArray tail =
        "--tools\nWebFetch\nWebSearch\nRead\nBash\nEdit\nWrite\nGrep\nGlob\n--append-system-prompt\n" +
        fallbackAskPersona().toUtf8() + "\n--permission-mode\nbypassPermissions\n.\n";
    const QByteArray id = SESSION;
    const std::pair<QByteArray, QByteArray> rows[] = {{"", "none\n" + head},
                                                      {id, id + '\n' + head + "--resume\n" + id + '\n'},
                                                      {"not-a-uuid", "none\n" + head},
                                                      {'{' + id + '}', "none\n" + head},
                                                      {id.left(35) + '\'', "none\n" + head}};
    for (const auto& [resume, expected] : rows) {
        QFile::remove(QString::fromUtf8(log));
        if (resume.isEmpty())
            chat->startWarmAsk();
        else
            chat->resumeAskSession(session(resume), [] {});
        ASSERT_TRUE(waitUntil([&] { return file("args").endsWith("\n.\n"); })) << resume.constData();
        EXPECT_EQ(file("args"), "/\n" + expected + tail);
        chat->stopWarmAsk();
    }
}

TEST_F(AskChatTest, AnEmptyAnswerSaysSo) {
    start("read -r line; result success; sleep 60\n");
    ask("one");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(status, u"Torvi's answer is empty"_s);
}

TEST_F(AskChatTest, TextBehindTheResultDoesNotHoldUpTheNextQuestion) {
    start("read -r line; delta ok; result success; while true; do delta " + QByteArray(2000, 'x') + "; done\n");
    ask("one");
    ASSERT_TRUE(waitUntil([this] { return answer().size() > 100000; }));
    ask("two");
    EXPECT_TRUE(chat->streaming());
    int turns = 0;
    EXPECT_TRUE(waitUntil([&turns] { return ++turns > 20; })) << "the program goes on";
    chat->stopAskTurn();
    EXPECT_TRUE(waitForEnd());
}

TEST_F(AskChatTest, AnAgentThatCannotAnswerOnceKeepsTheConversation) {
    start("read -r line; print -r '{\"type\":\"result\",\"subtype\":\"success\",\"is_error\":true,\"result\":\"Rate "
          "limit\"}'; sleep 60\n");
    chat->resumeAskSession(session(SESSION), [] {});
    ask("now?");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(answer(), u"\n[Rate limit]"_s);
    EXPECT_TRUE(evicted.isEmpty());
}

TEST_F(AskChatTest, AFloodEndsWithTheStop) {
    start("read -r line; while true; do delta " + QByteArray(2000, 'x') + "; done\n");
    view.shows = false;
    ask("one");
    ASSERT_TRUE(waitUntil([this] { return answer().size() > 1 << 16; }));
    const qsizetype held = answer().size();
    int turns = 0;
    EXPECT_TRUE(waitUntil([&turns] { return ++turns > 20; }));
    EXPECT_EQ(answer().size(), held) << "the agent waits for its reader";
    view.shows = true;
    view.caughtUp();
    ASSERT_TRUE(waitUntil([&] { return answer().size() > held; }));
    chat->stopAskTurn();
    EXPECT_TRUE(waitForEnd());
    EXPECT_TRUE(answer().endsWith(u"[stopped]"_s));
}

TEST_F(AskChatTest, AGiantLineIsShownToABoundAndTheProgramGoesOn) {
    start("read -r line; print -n '{\"type\":\"stream_event\",\"event\":{\"type\":\"content_block_delta\",\"delta\":{"
          "\"text\":\"'; yes '[a](b) https://x.example/a' | tr '\\n' ' ' | head -c 20000000; print '\"}}}'; result "
          "success; read -r "
          "line; delta fine; result success; sleep 60\n");
    ask("one");
    ASSERT_TRUE(waitUntil([this] { return !chat->streaming(); }, 40));
    EXPECT_EQ(answer().right(35), u"\n[the rest is too long to be shown]"_s);
    EXPECT_LT(answer().size(), 300000);
    chat->stopWarmAsk();
}

TEST_F(AskChatTest, AFloodWithoutTextLeavesTheUserTheProgram) {
    start("read -r line; delta fine; exec yes '{\"type\":\"result\",\"subtype\":\"success\"}'\n");
    ask("one");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(answer(), u"fine"_s);
    int turns = 0;
    EXPECT_TRUE(waitUntil([&turns] { return ++turns > 20; }));
}

TEST_F(AskChatTest, ABrokenLineCostsOnlyItself) {
    start("read -r line; print 'no json'; print -r '[1]'; printf '\\0\\377\\n'; print; head -c 70000000 /dev/zero | tr "
          "'\\0' x; print; delta 'half \\ude00\\ud83d \\ud83d\\ude00 '; delta fine; result success; sleep 60\n");
    ask("one");
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(answer(), u"half \uFFFD\uFFFD 😀 fine"_s);
}
