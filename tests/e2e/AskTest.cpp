// Questions to the agent in the panel, with the stand-in agent behind a real shell.
#include "e2e/OvalinDesk.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <csignal>

using namespace ovalin;

namespace {

const QByteArray SEARCH = "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" \"$2\" > \"$HOME/searched\"\n"
                          "echo '[{\"title\":\"T\",\"url\":\"https://t.example\",\"snippet\":\"S\"}]'\n";

struct AskDesk : OvalinDesk {
    QString panel;

    explicit AskDesk(const QByteArray& scenario) {
        environment.insert(QStringLiteral("FAKE_CLAUDE_DIR"), path(QStringLiteral("agent")));
        installScript(QStringLiteral(".local/bin/claude"), readFile(QStringLiteral(FAKE_CLAUDE)));
        installScript(QStringLiteral(".claude/bin/websearch-google"), SEARCH);
        writeFile(path(QStringLiteral("agent/scenario.json")), scenario);
        // The desktop's opener hands links to this one.
        installScript(QStringLiteral("browser"), "#!/bin/sh\necho \"$1\" > \"$HOME/opened\"\n");
        environment.insert(QStringLiteral("BROWSER"), path(QStringLiteral("browser")));
        startOvalin();
        openEditor("The sky over the sea.\n");
        pressKey(QStringLiteral("ctrl+a"));
        waitUntil([&] { return !primary().isEmpty(); });
        open();
    }
    void open() {
        pressKey(QStringLiteral("alt+space"));
        ASSERT_TRUE(waitForPanel(true)) << log().toStdString();
        panel = panelWindow();
    }
    void ask(const QString& question) {
        type(question);
        pressKey(QStringLiteral("Return"));
    }
    [[nodiscard]] std::vector<QJsonObject> agentLog(const QString& event) const {
        std::vector<QJsonObject> found;
        for (const QByteArray& line : readFile(path(QStringLiteral("agent/log.jsonl"))).split('\n')) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            if (entry.value(QStringLiteral("event")).toString() == event)
                found.push_back(entry);
        }
        return found;
    }
    /// The text of the n-th message that the agent was given.
    [[nodiscard]] QString message(size_t number) const {
        const auto lines = agentLog(QStringLiteral("stdin"));
        if (lines.size() <= number)
            return {};
        const auto line =
            QJsonDocument::fromJson(lines[number].value(QStringLiteral("line")).toString().toUtf8()).object();
        return line[QStringLiteral("message")][QStringLiteral("content")][0][QStringLiteral("text")].toString();
    }
    [[nodiscard]] QPoint inTranscript() const {
        const QRect frame = frameOf(panel);
        return {frame.x() + 60, frame.y() + frame.height() - 200};
    }
    void click(QPoint at) const {
        xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()), QStringLiteral("click"),
                 QStringLiteral("1")});
    }
    /// What the conversation says, by copying it as a user would.
    [[nodiscard]] QString conversation() const {
        click(inTranscript());
        pressKey(QStringLiteral("ctrl+a"));
        pressKey(QStringLiteral("ctrl+c"));
        return output(QStringLiteral("xclip"),
                      {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-o")});
    }
    bool waitForConversation(const QString& end) {
        return waitUntil([&] { return conversation().endsWith(end); });
    }
    [[nodiscard]] bool agentsAreGone() const {
        for (const QJsonObject& start : agentLog(QStringLiteral("start"))) {
            if (::kill(start.value(QStringLiteral("pid")).toInt(), 0) == 0)
                return false;
        }
        return true;
    }
};

} // namespace

TEST(Ask, AQuestionIsAnsweredInThePanel) {
    AskDesk desk(R"({"chat": [{"steps": [{"thinking": ["hm"]}, {"text": ["It is ", "blue. See [the page]",
        "(http://127.0.0.1:1/sky) or ", "http://127.0.0.1:1/b.\n\n"]}, {"tool": "Bash", "input": {}, "result": "x"},
        {"text": "Done."}], "delay_ms": 30}, "echo"]})");
    desk.ask(QStringLiteral("why is the sky blue? it's $HOME"));
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("Done."))) << desk.conversation().toStdString();
    EXPECT_EQ(desk.conversation(), QStringLiteral("YOU\nwhy is the sky blue? it's $HOME\n\nTORVI\nIt is blue. See the "
                                                  "page or http://127.0.0.1:1/b.\n\nDone."));
    EXPECT_EQ(readFile(desk.path(QStringLiteral("searched"))), "2\nwhy is the sky blue? it's $HOME\n5\n");
    const QString message = desk.message(0);
    EXPECT_TRUE(message.startsWith(QStringLiteral("Jorvan is looking at Mousepad.\n\n"))) << message.toStdString();
    EXPECT_TRUE(message.endsWith(QStringLiteral(
        "\n\nHe has highlighted this specific part to focus on:\n\"\"\"\nThe sky over the sea.\n\"\"\"\n\nWeb search "
        "results for \"why is the sky blue? it's $HOME\" (use ONLY these real URLs for links — do not invent or recall "
        "any other URL):\n- T — https://t.example\n  S\n\nQuestion: why is the sky blue? it's $HOME")))
        << message.toStdString();
    desk.click(desk.inTranscript());
    desk.keepPicture(QStringLiteral("ask-finished"));

    desk.ask(QStringLiteral("and why not green?")); // typed over the conversation, which had the focus
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("why not green?")));
    EXPECT_FALSE(desk.message(1).contains(QStringLiteral("Jorvan"))) << "the agent knows where the user is by now";
    EXPECT_EQ(desk.agentLog(QStringLiteral("start")).size(), 1);

    desk.pressKey(QStringLiteral("Escape"));
    ASSERT_TRUE(desk.waitForPanel(false));
    EXPECT_TRUE(waitUntil([&] { return desk.agentsAreGone(); }));
}

TEST(Ask, AStoppedAnswerIsPickedUpAgain) {
    AskDesk desk(R"({"chat": ["slow"]})");
    desk.ask(QStringLiteral("what is the time?"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("tick1")); }));
    desk.click(desk.inTranscript());
    desk.keepPicture(QStringLiteral("ask-streaming"));
    desk.ask(QStringLiteral("stays in the field")); // two questions at a time are refused
    desk.pressKey(QStringLiteral("ctrl+a"));
    desk.ask(QStringLiteral(" /STOP "));
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("\n[stopped]"))) << desk.conversation().toStdString();
    desk.keepPicture(QStringLiteral("ask-stopped"));
    ASSERT_TRUE(waitUntil([&] { return desk.agentLog(QStringLiteral("start")).size() == 2; }));
    const QJsonArray arguments = desk.agentLog(QStringLiteral("start"))[1].value(QStringLiteral("argv")).toArray();
    EXPECT_TRUE(arguments.contains(QStringLiteral("--resume")));

    desk.ask(QStringLiteral("go on? [[mock:echo]]"));
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("Question: go on? [[mock:echo]]"))) << desk.conversation().toStdString();
    EXPECT_TRUE(desk.message(1).startsWith(QStringLiteral("Jorvan is looking at"))) << "a new process knows nothing";
}

TEST(Ask, ClosingInMidAnswerLeavesNoProcess) {
    AskDesk desk(R"({"chat": ["endless"], "ignore_sigterm": true})");
    desk.ask(QStringLiteral("how long is a piece of string?"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("more more")); }));
    desk.pressKey(QStringLiteral("Escape"));
    ASSERT_TRUE(desk.waitForPanel(false));
    EXPECT_TRUE(waitUntil([&] { return desk.agentsAreGone(); }));
    // The next opening is a new conversation.
    desk.open();
    desk.ask(QStringLiteral("why again?"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("more more")); }));
    EXPECT_FALSE(desk.conversation().contains(QStringLiteral("string")));
}

TEST(Ask, WithoutAnAgentTheUserIsToldWhereToGetIt) {
    AskDesk desk("{}");
    QFile::remove(desk.path(QStringLiteral(".local/bin/claude")));
    desk.ask(QStringLiteral("is anybody there?"));
    EXPECT_TRUE(desk.waitForConversation(QStringLiteral("and run `claude` once to sign in]")))
        << desk.conversation().toStdString();
    desk.click(desk.inTranscript());
    desk.keepPicture(QStringLiteral("ask-no-agent"));
}
