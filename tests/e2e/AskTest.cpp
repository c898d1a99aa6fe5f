// Questions to the agent in the panel, with the stand-in agent behind a real shell.
#include "e2e/AskDesk.h"

#include <QRegularExpression>

TEST(Ask, AQuestionIsAnsweredInThePanel) {
    AskDesk desk(R"({"chat": [{"steps": [{"thinking": ["hm"]}, {"text": ["It is ", "blue. See [the page]",
        "(http://127.0.0.1:1/sky) or ", "http://127.0.0.1:1/b.\n\n"]}, {"tool": "Bash", "input": {}, "result": "x"},
        {"text": "Done."}], "delay_ms": 30}, "echo"]})");
    desk.ask(u"why is the sky blue? it's $HOME"_s);
    ASSERT_TRUE(desk.waitForConversation(u"Done."_s)) << desk.conversation().toStdString();
    EXPECT_EQ(desk.conversation(), u"YOU\nwhy is the sky blue? it's $HOME\n\nTORVI\nIt is blue. See the "
                                   "page or http://127.0.0.1:1/b.\n\nDone."_s);
    EXPECT_EQ(readFile(desk.path(u"searched"_s)), "2\nwhy is the sky blue? it's $HOME\n5\n");
    const QString message = desk.message(0);
    EXPECT_TRUE(message.startsWith(u"Jorvan is looking at Mousepad.\n\n"_s)) << message.toStdString();
    EXPECT_TRUE(message.endsWith(
        u"\n\nHe has highlighted this specific part to focus on:\n\"\"\"\nThe sky over the sea.\n\"\"\"\n\nWeb search "
        "results for \"why is the sky blue? it's $HOME\" (use ONLY these real URLs for links — do not invent or recall "
        "any other URL):\n- T — https://t.example\n  S\n\nQuestion: why is the sky blue? it's $HOME"_s))
        << message.toStdString();
    desk.click(desk.inTranscript());
    desk.keepPicture(u"ask-finished"_s);

    desk.pressKey(u"shift+Tab"_s); // from the end back to the last link
    desk.pressKey(u"Return"_s);
    EXPECT_TRUE(waitUntil([&] { return readFile(desk.path(u"opened"_s)) == "http://127.0.0.1:1/b\n"; }));

    desk.ask(u"and why not green?"_s); // typed over the conversation, which had the focus
    ASSERT_TRUE(desk.waitForConversation(u"why not green?\nAnswer the question above."_s));
    EXPECT_FALSE(desk.message(1).contains(u"Jorvan"_s)) << "the agent knows where the user is by now";
    EXPECT_EQ(desk.chats().size(), 1);

    desk.pressKey(u"Escape"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    EXPECT_TRUE(waitUntil([&] { return desk.agentsAreGone(); }));
}

TEST(Ask, AStoppedAnswerIsPickedUpAgain) {
    AskDesk desk(R"({"chat": ["slow"]})");
    desk.ask(u"what is the time?"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"tick1"_s); }));
    desk.click(desk.inTranscript());
    desk.keepPicture(u"ask-streaming"_s);
    desk.ask(u"stays in the field"_s); // two questions at a time are refused
    desk.pressKey(u"ctrl+a"_s);
    desk.ask(u" /STOP "_s);
    ASSERT_TRUE(desk.waitForConversation(u"\n[stopped]"_s)) << desk.conversation().toStdString();
    desk.keepPicture(u"ask-stopped"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.chats().size() == 2; }));
    const QJsonArray arguments = desk.chats()[1].value(u"argv"_s).toArray();
    EXPECT_TRUE(arguments.contains(u"--resume"_s));

    desk.ask(u"go on? [[mock:echo]]"_s);
    ASSERT_TRUE(waitUntil([&] {
        return desk.conversation().contains(QRegularExpression(
            u"go on\\? \\[\\[mock:echo\\]\\]\nYour last answer was cut short[^\n]*\n\"\"\"\ntick0 "_s));
    })) << desk.conversation().toStdString();
    EXPECT_TRUE(desk.message(1).startsWith(u"Jorvan is looking at"_s)) << "a new process knows nothing";
}

TEST(Ask, ClosingInMidAnswerLeavesNoProcess) {
    AskDesk desk(R"({"chat": ["endless"], "ignore_sigterm": true})");
    desk.ask(u"how long is a piece of string?"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"more more"_s); }));
    desk.pressKey(u"Escape"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    EXPECT_TRUE(waitUntil([&] { return desk.agentsAreGone(); }));
    // The next opening is a new conversation.
    desk.open();
    desk.ask(u"why again?"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"more more"_s); }));
    EXPECT_FALSE(desk.conversation().contains(u"string"_s));
}

TEST(Ask, AQuestionClosedBeforeItsAnswerComesBackAtTheNextOpening) {
    AskDesk desk(R"({"chat": [{"steps": [{"text": "late"}], "wait_ms": 20000}]})");
    desk.installScript(u".claude/bin/websearch-google"_s, "#!/bin/sh\nsleep 60\n");
    desk.ask(u"why is the sky blue?"_s);
    desk.pressKey(u"Escape"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    desk.installScript(u".claude/bin/websearch-google"_s, "#!/bin/sh\necho '[]'\n");
    writeFile(desk.path(u"agent/scenario.json"_s), R"({"chat": ["hello"]})");
    desk.open();
    waitUntil([] { return false; }, 0.3); // drawn, for the picture
    desk.keepPicture(u"ask-given-back"_s);
    desk.pressKey(u"Return"_s);
    ASSERT_TRUE(desk.waitForConversation(u"Hello there."_s)) << desk.conversation().toStdString();
    EXPECT_TRUE(desk.message(0).endsWith(u"Question: why is the sky blue?"_s));
    EXPECT_EQ(desk.requests().size(), 0) << "it is a question, not a request";
}

TEST(Ask, WithoutAnAgentTheUserIsToldWhereToGetIt) {
    for (const char* place : {"/usr/local/bin/claude", "/usr/bin/claude"}) {
        if (QFile::exists(QLatin1String(place)))
            GTEST_SKIP() << "this machine has an agent for all its users";
    }
    AskDesk desk("{}");
    QFile::remove(desk.path(u".local/bin/claude"_s));
    desk.ask(u"is anybody there?"_s);
    EXPECT_TRUE(desk.waitForConversation(u"and run claude once to sign in]"_s)) << desk.conversation().toStdString();
    desk.click(desk.inTranscript());
    desk.keepPicture(u"ask-no-agent"_s);
}
