#include "fakes/FakeServices.h"
#include "platform/dbus/Logind.h"

namespace {

using Lookup = FakeLoginManager::Lookup;

class LogindTest : public testing::Test {
protected:
    void count(SessionEvents& events) {
        events.didWake = [this] { ++woke; };
        events.willLock = [this] { ++locked; };
    }
    /// Until it is heard: nothing tells when the subscriptions are in place.
    static bool isHeard(const int& heard, const std::function<void()>& send) {
        return waitUntil([&, before = heard] { return send(), heard > before; });
    }
    bool wakeIsHeard(FakeLoginManager& manager) {
        return isHeard(woke, [&] { manager.sleep(false); });
    }
    bool lockIsHeard(FakeLoginManager& manager) {
        return isHeard(locked, [&] { manager.lock(); });
    }

    TestBus bus;
    int woke = 0;
    int locked = 0;
};

} // namespace

TEST_F(LogindTest, FindsTheSessionWhicheverWayTheManagerKnowsIt) {
    struct Row {
        Lookup lookup;
        const char* sessionId;
    };
    const Row rows[] = {{Lookup::ByProcess, ""}, {Lookup::ById, "7"}, {Lookup::ByAuto, ""}, {Lookup::ByAuto, "stale"}};
    for (const Row& row : rows) {
        FakeLoginManager manager(bus.address, row.lookup);
        Logind logind(bus.address, QString::fromLatin1(row.sessionId));
        count(logind);
        EXPECT_TRUE(lockIsHeard(manager)) << static_cast<int>(row.lookup) << row.sessionId;
        EXPECT_TRUE(wakeIsHeard(manager)) << static_cast<int>(row.lookup) << row.sessionId;
    }
}

TEST_F(LogindTest, NeitherGoingToSleepNorASignalOfAnotherSenderIsAWakeUp) {
    FakeLoginManager manager(bus.address, Lookup::ByProcess);
    Logind logind(bus.address, {});
    count(logind);
    ASSERT_TRUE(wakeIsHeard(manager));
    ASSERT_TRUE(lockIsHeard(manager)); // and with it every wake-up that was sent before
    const int before = woke;
    manager.sleep(true);
    {
        FakeNotifications other(bus.address); // which goes when the bus has taken what it told
        other.tell(FakeLoginManager::PATH, FakeLoginManager::PATH_INTERFACE, "PrepareForSleep", {false});
    }
    ASSERT_TRUE(lockIsHeard(manager)); // sent after them, so they are through
    EXPECT_EQ(woke, before);
}

TEST_F(LogindTest, WhateverMayBringALockerIsTold) {
    FakeLoginManager manager(bus.address, Lookup::ByProcess);
    Logind logind(bus.address, {});
    count(logind);
    ASSERT_TRUE(lockIsHeard(manager)); // so the session is followed
    ASSERT_TRUE(wakeIsHeard(manager));
    int before = locked;
    manager.idle(false);
    manager.sleep(true);
    EXPECT_TRUE(waitUntil([&] { return locked == before + 1; }));
    ASSERT_TRUE(wakeIsHeard(manager));
    EXPECT_EQ(locked, before + 1) << "the end of idleness is none";
    manager.idle(true);
    EXPECT_TRUE(waitUntil([&] { return locked == before + 2; }));
}

TEST_F(LogindTest, StaysSilentWithoutAManagerABusOrAnAnswer) {
    for (const QString& address : {bus.address, u""_s, u"unix:path=/nonexistent"_s, u"no address at all"_s}) {
        Logind logind(address, {});
        count(logind);
    }
    FakeLoginManager manager(bus.address, Lookup::ByProcess);
    manager.silent = true;
    {
        Logind logind(bus.address, u"7"_s);
        count(logind);
        EXPECT_TRUE(wakeIsHeard(manager)); // the session is not found, the rest works
    }
    Logind logind(bus.address, u"7"_s);
    bus.end();
    bus.start();
    EXPECT_EQ(locked, 0);
}

TEST_F(LogindTest, ABusThatHangsOrGoesIsTriedAgain) {
    std::optional<Logind> logind;
    {
        const Stopped hung = bus.hang();
        logind.emplace(bus.address, QString(), 20ms);
        count(*logind);
    }
    for (int life = 0; life < 2; ++life) {
        {
            FakeLoginManager manager(bus.address, Lookup::ByProcess);
            EXPECT_TRUE(wakeIsHeard(manager));
            EXPECT_TRUE(lockIsHeard(manager));
        }
        bus.end();
        bus.start();
    }
}
