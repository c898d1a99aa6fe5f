// Conversations that last: closed in mid answer, found under the clock, continued with the agent's memory.
#include "e2e/AskDesk.h"

#include <QDir>

using namespace ovalin;

namespace {

struct HistoryDesk : AskDesk {
    using AskDesk::AskDesk;

    [[nodiscard]] QJsonArray stored() const {
        return QJsonDocument::fromJson(readFile(systemDir() + QStringLiteral("/ovalin-ask-history.json")))
            .object()
            .value(QStringLiteral("sessions"))
            .toArray();
    }
    [[nodiscard]] QString list() const {
        return xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                        QStringLiteral("^Past conversations$")})
            .section(QLatin1Char('\n'), 0, 0);
    }
    bool openList() {
        const QRect frame = frameOf(panel);
        click(frame.topLeft() + QPoint(426, 26));
        return waitUntil([this] { return !list().isEmpty(); });
    }
    void close() {
        pressKey(QStringLiteral("Escape"));
        ASSERT_TRUE(waitForPanel(false));
    }
};

} // namespace

TEST(History, AConversationClosedInMidAnswerGoesOnLater) {
    HistoryDesk desk(R"({"chat": ["endless"], "title": [{"text": "Length of a string"}]})");
    desk.ask(QStringLiteral("how long is a piece of string?"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("more more")); }));
    desk.close();
    ASSERT_TRUE(waitUntil([&] {
        return desk.stored()[0][QStringLiteral("title")] == QStringLiteral("Length of a string");
    })) << desk.log().toStdString();
    EXPECT_EQ(desk.stored().size(), 1);
    EXPECT_EQ(desk.stored()[0][QStringLiteral("interrupted")], true);
    EXPECT_EQ(desk.stored()[0][QStringLiteral("app")], QStringLiteral("Mousepad"));
    const QString id = desk.stored()[0][QStringLiteral("id")].toString();

    writeFile(desk.path(QStringLiteral("agent/scenario.json")), R"({"chat": ["echo"]})");
    desk.open();
    desk.type(QStringLiteral("half a th"));
    ASSERT_TRUE(desk.openList()) << desk.log().toStdString();
    desk.pressKey(QStringLiteral("Down"));
    desk.type(QStringLiteral("ought")); // takes Return back from the row
    desk.pressKey(QStringLiteral("Down"));
    desk.keepPicture(QStringLiteral("history-one"));
    desk.pressKey(QStringLiteral("Return"));
    ASSERT_TRUE(waitUntil([&] { return desk.list().isEmpty(); }));
    ASSERT_TRUE(waitUntil([&] {
        return desk.conversation().startsWith(QStringLiteral("YOU\nhow long is a piece of string?"));
    })) << desk.conversation().toStdString();
    desk.keepPicture(QStringLiteral("history-resumed"));

    desk.ask(QStringLiteral(", then?")); // the prompt was never lost
    ASSERT_TRUE(desk.waitForConversation(QStringLiteral("Answer the question above.")))
        << desk.conversation().toStdString();
    EXPECT_TRUE(desk.conversation().contains(QStringLiteral("Question: half a thought, then?\nYour last answer was cut "
                                                            "short")))
        << desk.conversation().toStdString();
    const QJsonArray arguments = desk.chats().back().value(QStringLiteral("argv")).toArray();
    ASSERT_TRUE(arguments.contains(QStringLiteral("--resume")));
    EXPECT_TRUE(arguments.contains(id));
    ASSERT_TRUE(waitUntil([&] { return desk.stored()[0][QStringLiteral("turns")] == 2; }));
    EXPECT_EQ(desk.stored().size(), 1) << "the same conversation";
    EXPECT_EQ(desk.stored()[0][QStringLiteral("interrupted")], false);
    EXPECT_EQ(desk.stored()[0][QStringLiteral("first")], QStringLiteral("how long is a piece of string?"));
    EXPECT_EQ(desk.stored()[0][QStringLiteral("title")], QStringLiteral("Length of a string"));
}

TEST(History, AConversationThatTheAgentHasForgottenMakesRoomForANewOne) {
    HistoryDesk desk(R"({"chat": ["echo"]})");
    desk.ask(QStringLiteral("first?"));
    ASSERT_TRUE(waitUntil([&] { return desk.stored().size() == 1; })) << desk.log().toStdString();
    const QString id = desk.stored()[0][QStringLiteral("id")].toString();
    desk.close();
    QDir(desk.path(QStringLiteral("agent/sessions"))).removeRecursively();

    desk.open();
    ASSERT_TRUE(desk.openList());
    const QRect frame = desk.frameOf(desk.list());
    desk.click(frame.topLeft() + QPoint(100, 60));
    ASSERT_TRUE(waitUntil([&] { return desk.list().isEmpty(); }));
    desk.ask(QStringLiteral("second?")); // one Return, and it is asked in a conversation of its own
    ASSERT_TRUE(waitUntil([&] {
        return desk.stored().size() == 1 && desk.stored()[0][QStringLiteral("id")].toString() != id;
    })) << desk.conversation().toStdString()
        << readFile(desk.path(QStringLiteral("agent/log.jsonl"))).toStdString();
    EXPECT_EQ(desk.stored()[0][QStringLiteral("first")], QStringLiteral("second?"));
    EXPECT_TRUE(
        waitUntil([&] { return desk.stored()[0][QStringLiteral("title")] == QStringLiteral("Echo: second?"); }));
    desk.click(desk.inTranscript());
    desk.keepPicture(QStringLiteral("history-forgotten"));
}

TEST(History, WhileAnAnswerStreamsNoRowOpensAndStopIsObeyed) {
    HistoryDesk desk(R"({"chat": ["slow"]})");
    writeFile(desk.systemDir() + QStringLiteral("/ovalin-ask-history.json"),
              R"({"sessions": [{"id": "5f0c2a9e-8d1b-4c57-9a3e-0b6d4e7f1a22", "first": "old?"}]})");
    desk.ask(QStringLiteral("what is the time?"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("tick0")); }));
    ASSERT_TRUE(desk.openList());
    desk.click(desk.frameOf(desk.list()).topLeft() + QPoint(100, 60));
    desk.type(QStringLiteral("/stop"));
    desk.pressKey(QStringLiteral("Down")); // a row is chosen, and yet the prompt's word counts
    EXPECT_FALSE(desk.list().isEmpty()) << "no row opens";
    desk.keepPicture(QStringLiteral("history-streaming"));
    desk.pressKey(QStringLiteral("Return"));
    ASSERT_TRUE(waitUntil([&] { return desk.conversation().contains(QStringLiteral("\n[stopped]")); }))
        << desk.conversation().toStdString();
    EXPECT_FALSE(desk.conversation().contains(QStringLiteral("old?")));
}
