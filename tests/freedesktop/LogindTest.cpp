#include "BusDesk.h"
#include "platform/dbus/Logind.h"

#include <gtest/gtest.h>

using namespace ovalin;
using namespace Qt::StringLiterals;

namespace {

const auto MANAGER_PATH = u"/org/freedesktop/login1"_s;
const auto MANAGER = u"org.freedesktop.login1.Manager"_s;

class LoginManager : public FakeServices {
public:
    LoginManager(const QString& address, const QString& lookup)
        : FakeServices(address, u"org.freedesktop.login1"_s, {u"--login1"_s, lookup}) {}

    void sleep(bool begins) { call(MANAGER_PATH, MANAGER, u"Sleep"_s, {begins}); }
    void idle(bool is) { call(MANAGER_PATH, MANAGER, u"SetIdleHint"_s, {is}); }
    void lock() { call(MANAGER_PATH, MANAGER, u"LockSession"_s, {u"7"_s}); }
};

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
    bool wakeIsHeard(LoginManager& manager) {
        return isHeard(woke, [&] { manager.sleep(false); });
    }
    bool lockIsHeard(LoginManager& manager) {
        return isHeard(locked, [&] { manager.lock(); });
    }

    TestBus bus;
    int woke = 0;
    int locked = 0;
};

} // namespace

TEST_F(LogindTest, FindsTheSessionWhicheverWayTheManagerKnowsIt) {
    struct Row {
        QString lookup, sessionId;
    };
    const Row rows[] = {{u"pid"_s, u""_s}, {u"id"_s, u"7"_s}, {u"auto"_s, u""_s}, {u"auto"_s, u"stale"_s}};
    for (const Row& row : rows) {
        LoginManager manager(bus.address, row.lookup);
        Logind logind(bus.address, row.sessionId);
        count(logind);
        EXPECT_TRUE(lockIsHeard(manager)) << row.lookup.toStdString();
        EXPECT_TRUE(wakeIsHeard(manager)) << row.lookup.toStdString();
    }
}

TEST_F(LogindTest, NeitherGoingToSleepNorASignalOfAnotherSenderIsAWakeUp) {
    LoginManager manager(bus.address, u"pid"_s);
    Logind logind(bus.address, {});
    count(logind);
    ASSERT_TRUE(wakeIsHeard(manager));
    ASSERT_TRUE(lockIsHeard(manager)); // and with it every wake-up that was sent before
    const int before = woke;
    manager.sleep(true);
    QDBusMessage forged = QDBusMessage::createSignal(MANAGER_PATH, MANAGER, u"PrepareForSleep"_s);
    forged << false;
    manager.send(forged);
    ASSERT_TRUE(lockIsHeard(manager)); // sent after them, so they are through
    EXPECT_EQ(woke, before);
}

TEST_F(LogindTest, WhateverMayBringALockerIsTold) {
    LoginManager manager(bus.address, u"pid"_s);
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

TEST_F(LogindTest, AManagerThatStartsLaterOrAgainIsHeard) {
    Logind logind(bus.address, {});
    count(logind);
    for (int start = 0; start < 2; ++start) {
        LoginManager manager(bus.address, u"pid"_s);
        EXPECT_TRUE(wakeIsHeard(manager));
        EXPECT_TRUE(lockIsHeard(manager));
    }
}

TEST_F(LogindTest, StaysSilentWithoutAManagerABusOrAnAnswer) {
    for (const QString& address : {bus.address, u""_s, u"unix:path=/nonexistent"_s, u"no address at all"_s}) {
        Logind logind(address, {});
        count(logind);
    }
    LoginManager manager(bus.address, u"silent"_s);
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
    bus.hang();
    Logind logind(bus.address, {}, std::chrono::milliseconds(20));
    count(logind);
    bus.recover();
    for (int life = 0; life < 2; ++life) {
        {
            LoginManager manager(bus.address, u"pid"_s);
            EXPECT_TRUE(wakeIsHeard(manager));
            EXPECT_TRUE(lockIsHeard(manager));
        }
        bus.end();
        bus.start();
    }
}
