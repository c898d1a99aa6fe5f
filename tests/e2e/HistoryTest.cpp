// Conversations that last: closed in mid answer, found under the clock, continued with the agent's memory.
#include "e2e/AskDesk.h"

namespace {

struct HistoryDesk : AskDesk {
    using AskDesk::AskDesk;

    [[nodiscard]] QJsonArray stored() const {
        return readJson(systemDir() + u"/ovalin-ask-history.json"_s)[u"sessions"_s].toArray();
    }
    [[nodiscard]] QString list() const {
        return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Past conversations$"_s})
            .section(QLatin1Char('\n'), 0, 0);
    }
    bool openList() {
        const QRect frame = frameOf(panel);
        click(frame.topLeft() + QPoint(426, 26));
        return waitUntil([this] { return !list().isEmpty(); });
    }
    void close() {
        pressKey(u"Escape"_s);
        ASSERT_TRUE(waitForPanel(false));
    }
};

} // namespace

TEST(History, AConversationClosedInMidAnswerGoesOnLater) {
    HistoryDesk desk(R"({"chat": ["endless"], "title": [{"text": "Length of a string"}]})");
    desk.ask(u"how long is a piece of string?"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"more more"_s); }));
    desk.close();
    ASSERT_TRUE(waitUntil([&] { return desk.stored().at(0)[u"title"_s] == u"Length of a string"_s; }))
        << desk.log().toStdString();
    EXPECT_EQ(desk.stored().size(), 1);
    EXPECT_EQ(desk.stored().at(0)[u"interrupted"_s], true);
    EXPECT_EQ(desk.stored().at(0)[u"app"_s], u"Mousepad"_s);
    const QString id = desk.stored().at(0)[u"id"_s].toString();

    writeFile(desk.path(u"agent/scenario.json"_s), R"({"chat": ["echo"]})");
    desk.open();
    desk.type(u"half a th"_s);
    ASSERT_TRUE(desk.openList()) << desk.log().toStdString();
    desk.pressKey(u"Down"_s);
    desk.type(u"ought"_s); // takes Return back from the row
    desk.pressKey(u"Down"_s);
    desk.keepPicture(u"history-one"_s);
    desk.pressKey(u"Return"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.list().isEmpty(); }));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().startsWith(u"YOU\nhow long is a piece of string?"_s); }))
        << desk.conversation().toStdString();
    desk.keepPicture(u"history-resumed"_s);

    desk.ask(u", then?"_s); // the prompt was never lost
    ASSERT_TRUE(desk.waitForConversation(u"Answer the question above."_s)) << desk.conversation().toStdString();
    EXPECT_TRUE(desk.conversation().contains(u"Question: half a thought, then?\nYour last answer was cut "
                                             "short"_s))
        << desk.conversation().toStdString();
    const QJsonArray arguments = desk.chats().back().value(u"argv"_s).toArray();
    ASSERT_TRUE(arguments.contains(u"--resume"_s));
    EXPECT_TRUE(arguments.contains(id));
    ASSERT_TRUE(waitUntil([&] { return desk.stored().at(0)[u"turns"_s] == 2; }));
    EXPECT_EQ(desk.stored().size(), 1) << "the same conversation";
    EXPECT_EQ(desk.stored().at(0)[u"interrupted"_s], false);
    EXPECT_EQ(desk.stored().at(0)[u"first"_s], u"how long is a piece of string?"_s);
    EXPECT_EQ(desk.stored().at(0)[u"title"_s], u"Length of a string"_s);
}

TEST(History, WhileAnAnswerStreamsNoRowOpensAndStopIsObeyed) {
    HistoryDesk desk(R"({"chat": ["slow"]})");
    writeFile(desk.systemDir() + u"/ovalin-ask-history.json"_s,
              R"({"sessions": [{"id": "5f0c2a9e-8d1b-4c57-9a3e-0b6d4e7f1a22", "first": "old?"}]})");
    desk.ask(u"what is the time?"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"tick0"_s); }));
    ASSERT_TRUE(desk.openList());
    desk.click(desk.frameOf(desk.list()).topLeft() + QPoint(100, 60));
    desk.type(u"/stop"_s);
    desk.pressKey(u"Down"_s); // a row is chosen, and yet the prompt's word counts
    EXPECT_FALSE(desk.list().isEmpty()) << "no row opens";
    desk.keepPicture(u"history-streaming"_s);
    desk.pressKey(u"Return"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(u"\n[stopped]"_s); }))
        << desk.conversation().toStdString();
    EXPECT_FALSE(desk.conversation().contains(u"old?"_s));
}
