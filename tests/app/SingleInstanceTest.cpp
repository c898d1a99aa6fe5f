#include "app/SingleInstance.h"

#include "fakes/FakeDesktop.h"

#include <QLocalSocket>

namespace {

using Result = tl::expected<QJsonObject, QString>;

// The client blocks, as it may in the command-line program, so it gets a thread here.
Result sendFromOutside(const QJsonObject& message, const QString& folder, const QString& stateDir = {}) {
    Result answer;
    std::atomic<bool> done = false;
    std::thread client([&] {
        answer = SingleInstance::send({folder, stateDir}, message, std::chrono::seconds(5));
        done = true;
    });
    waitUntil([&] { return done.load(); });
    client.join();
    return answer;
}

Result toggleFromOutside(const QString& folder, const QString& stateDir = {}) {
    return sendFromOutside({{u"command"_s, u"toggle"_s}}, folder, stateDir);
}

SingleInstance::Serve counting(int& toggled) {
    return [&toggled](const QJsonObject& message, const SingleInstance::Answer& answer) {
        toggled += message == QJsonObject{{u"command"_s, u"toggle"_s}} ? 1 : 0;
        answer({});
    };
}

} // namespace

TEST(SingleInstance, OnlyOneHoldsTheLockAndItsPidIsKnown) {
    const QTemporaryDir folder;
    auto first = std::make_unique<SingleInstance>(SingleInstance::Folders{folder.path(), {}});
    EXPECT_TRUE(first->acquire());
    SingleInstance second({folder.path(), {}});
    EXPECT_FALSE(second.acquire());
    EXPECT_EQ(second.otherPid(), ::getpid());
    first.reset();
    EXPECT_TRUE(second.acquire()) << "the lock dies with its holder";
}

TEST(SingleInstance, ToggleReachesTheRunningCopyOrSaysThatThereIsNone) {
    const QTemporaryDir folder;
    EXPECT_TRUE(toggleFromOutside(folder.path()).error().contains(u"not running"_s));
    int toggled = 0;
    {
        SingleInstance instance({folder.path(), {}});
        ASSERT_TRUE(instance.acquire());
        instance.listen(counting(toggled));
        EXPECT_TRUE(toggleFromOutside(folder.path()));
        EXPECT_EQ(toggled, 1);
        for (const QByteArray& nonsense : {QByteArray("toggle"), QByteArray("quit\n"), QByteArray("[1]\n{}\n"),
                                           QByteArray(2'000'000, 'x'), QByteArray("\0\n", 2)}) {
            QLocalSocket socket;
            socket.connectToServer(folder.filePath(u"ovalin.socket"_s));
            socket.write(nonsense);
            socket.flush();
            waitUntil([] { return false; }, 0.05);
        }
        EXPECT_EQ(toggled, 1);
        EXPECT_TRUE(toggleFromOutside(folder.path())) << "still served after nonsense";
    }
    EXPECT_FALSE(toggleFromOutside(folder.path()));
}

TEST(SingleInstance, AMessageIsAnsweredAtOnceOrLaterAndAClientThatGoesAwayHarmsNobody) {
    const QTemporaryDir folder;
    SingleInstance instance({folder.path(), {}});
    ASSERT_TRUE(instance.acquire());
    SingleInstance::Answer late;
    instance.listen([&](const QJsonObject& message, const SingleInstance::Answer& answer) {
        if (message.value(u"command"_s) == u"wait"_s)
            late = answer;
        else
            answer(message.value(u"words"_s).isString() ? message : QJsonObject{{u"error"_s, u"no words"_s}});
    });
    const QJsonObject words{{u"command"_s, u"do"_s}, {u"words"_s, u"“a\n{b}” "_s + QString(100'000, u'x')}};
    EXPECT_EQ(sendFromOutside(words, folder.path()), Result(words));
    EXPECT_EQ(sendFromOutside({{u"command"_s, u"do"_s}}, folder.path()), Result(tl::unexpected(u"no words"_s)));
    {
        QLocalSocket impatient;
        impatient.connectToServer(folder.filePath(u"ovalin.socket"_s));
        impatient.write("{\"command\":\"wait\"}\n");
        EXPECT_TRUE(waitUntil([&] { return bool(late); }));
    }
    waitUntil([] { return false; }, 0.02);
    late({{u"said"_s, u"too late"_s}});
    EXPECT_EQ(sendFromOutside(words, folder.path()), Result(words));
}

TEST(SingleInstance, CopiesWithDifferentRuntimeFoldersFindEachOther) {
    const QTemporaryDir given, other, home;
    const QString state = home.filePath(u".cache/ovalin"_s);
    SingleInstance first({given.path(), state});
    ASSERT_TRUE(first.acquire());
    int toggled = 0;
    first.listen(counting(toggled));
    SingleInstance second({other.path(), state});
    EXPECT_FALSE(second.acquire());
    EXPECT_EQ(second.otherPid(), ::getpid());
    EXPECT_TRUE(toggleFromOutside(other.path(), state));
    EXPECT_EQ(toggled, 1);
}

TEST(SingleInstance, ASocketLeftByAKilledCopyIsInNobodysWay) {
    const QTemporaryDir folder;
    writeFile(folder.filePath(u"ovalin.socket"_s), "");
    SingleInstance instance({folder.path(), {}});
    ASSERT_TRUE(instance.acquire());
    int toggled = 0;
    instance.listen(counting(toggled));
    EXPECT_TRUE(toggleFromOutside(folder.path()));
    EXPECT_EQ(toggled, 1);
}

TEST(SingleInstance, AForeignFolderIsNotTrusted) {
    const LogRecorder log;
    const QTemporaryDir folder;
    const QString link = folder.filePath(u"link"_s);
    ASSERT_EQ(::symlink("/tmp", link.toUtf8().constData()), 0);
    SingleInstance instance({link, {}});
    EXPECT_TRUE(instance.acquire()) << "runs all the same";
    EXPECT_EQ(log.count(u"is not a folder of this user"_s), 1);
}
