// Questions to the agent in the panel, with the stand-in agent behind a real shell.
#include "e2e/AskDesk.h"

#include <QRegularExpression>

using namespace ovalin;

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

    desk.pressKey(QStringLiteral("shift+Tab")); // from the end back to the last link
    desk.pressKey(QStringLiteral("Return"));
    EXPECT_TRUE(waitUntil([&] { return readFile(desk.path(QStringLiteral("opened"))) == "http://127.0.0.1:1/b\n"; }));

    desk.ask(QStringLiteral("and why not green?")); // typed over the conversation, which had the focus
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("why not green?\nAnswer the question above.")));
    EXPECT_FALSE(desk.message(1).contains(QStringLiteral("Jorvan"))) << "the agent knows where the user is by now";
    EXPECT_EQ(desk.chats().size(), 1);

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
    ASSERT_TRUE(waitUntil([&] { return desk.chats().size() == 2; }));
    const QJsonArray arguments = desk.chats()[1].value(QStringLiteral("argv")).toArray();
    EXPECT_TRUE(arguments.contains(QStringLiteral("--resume")));

    desk.ask(QStringLiteral("go on? [[mock:echo]]"));
    ASSERT_TRUE(waitUntil([&] {
        return desk.conversation().contains(QRegularExpression(
            QStringLiteral("go on\\? \\[\\[mock:echo\\]\\]\nYour last answer was cut short[^\n]*\n\"\"\"\ntick0 ")));
    })) << desk.conversation().toStdString();
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

TEST(Ask, AQuestionClosedBeforeItsAnswerComesBackAtTheNextOpening) {
    AskDesk desk(R"({"chat": [{"steps": [{"text": "late"}], "wait_ms": 20000}]})");
    desk.installScript(QStringLiteral(".claude/bin/websearch-google"), "#!/bin/sh\nsleep 60\n");
    desk.ask(QStringLiteral("why is the sky blue?"));
    desk.pressKey(QStringLiteral("Escape"));
    ASSERT_TRUE(desk.waitForPanel(false));
    desk.installScript(QStringLiteral(".claude/bin/websearch-google"), "#!/bin/sh\necho '[]'\n");
    writeFile(desk.path(QStringLiteral("agent/scenario.json")), R"({"chat": ["hello"]})");
    desk.open();
    waitUntil([] { return false; }, 0.3); // drawn, for the picture
    desk.keepPicture(QStringLiteral("ask-given-back"));
    desk.pressKey(QStringLiteral("Return"));
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("Hello there."))) << desk.conversation().toStdString();
    EXPECT_TRUE(desk.message(0).endsWith(QStringLiteral("Question: why is the sky blue?")));
    EXPECT_EQ(desk.requests().size(), 0) << "it is a question, not a request";
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
