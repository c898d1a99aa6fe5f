#include "app/SingleInstance.h"

#include "fakes/FakeDesktop.h"

#include <QLocalSocket>

namespace {

// The client blocks, as it may in the command-line program, so it gets a thread here.
std::optional<QString> toggleFromOutside(const QString& folder, const QString& stateDir = {}) {
    std::optional<QString> answer;
    std::atomic<bool> done = false;
    std::thread client([&] {
        answer = SingleInstance::sendToggle({folder, stateDir});
        done = true;
    });
    waitUntil([&] { return done.load(); });
    client.join();
    return answer;
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
    EXPECT_TRUE(toggleFromOutside(folder.path()).value().contains(u"not running"_s));
    int toggled = 0;
    {
        SingleInstance instance({folder.path(), {}});
        ASSERT_TRUE(instance.acquire());
        instance.listen([&] { ++toggled; });
        EXPECT_EQ(toggleFromOutside(folder.path()), std::nullopt);
        EXPECT_EQ(toggled, 1);
        for (const QByteArray& nonsense :
             {QByteArray("toggle"), QByteArray("quit\n"), QByteArray(100'000, 'x'), QByteArray("\0\n", 2)}) {
            QLocalSocket socket;
            socket.connectToServer(folder.filePath(u"ovalin.socket"_s));
            socket.write(nonsense);
            socket.flush();
            waitUntil([] { return false; }, 0.05);
        }
        EXPECT_EQ(toggled, 1);
        EXPECT_EQ(toggleFromOutside(folder.path()), std::nullopt) << "still served after nonsense";
    }
    EXPECT_TRUE(toggleFromOutside(folder.path()).has_value());
}

TEST(SingleInstance, CopiesWithDifferentRuntimeFoldersFindEachOther) {
    const QTemporaryDir given, other, home;
    const QString state = home.filePath(u".cache/ovalin"_s);
    SingleInstance first({given.path(), state});
    ASSERT_TRUE(first.acquire());
    int toggled = 0;
    first.listen([&] { ++toggled; });
    SingleInstance second({other.path(), state});
    EXPECT_FALSE(second.acquire());
    EXPECT_EQ(second.otherPid(), ::getpid());
    EXPECT_EQ(toggleFromOutside(other.path(), state), std::nullopt);
    EXPECT_EQ(toggled, 1);
}

TEST(SingleInstance, ASocketLeftByAKilledCopyIsInNobodysWay) {
    const QTemporaryDir folder;
    writeFile(folder.filePath(u"ovalin.socket"_s), "");
    SingleInstance instance({folder.path(), {}});
    ASSERT_TRUE(instance.acquire());
    int toggled = 0;
    instance.listen([&] { ++toggled; });
    EXPECT_EQ(toggleFromOutside(folder.path()), std::nullopt);
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
