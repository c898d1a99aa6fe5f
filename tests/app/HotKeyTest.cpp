#include "app/HotKey.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"

using testing::ElementsAre;

namespace {

struct HotKeyTest : testing::Test {
    FakeHotKeys keys;
    FakeDispatch dispatch;
    LogRecorder log;
    int fired = 0;
    HotKey hotKey{keys, dispatch};

    HotKeyTest() {
        hotKey.fired = [this] { ++fired; };
    }
};

} // namespace

TEST_F(HotKeyTest, RetriesBackOffAndSayWhenTheySucceed) {
    keys.states = std::vector(3, HotKeyState::Taken);
    hotKey.registerHotKey(0);
    for (const double delay : {1.0, 2.0, 4.0}) {
        const int before = keys.registrations;
        dispatch.advance(delay - 0.05);
        EXPECT_EQ(keys.registrations, before);
        dispatch.advance(0.06);
        EXPECT_EQ(keys.registrations, before + 1);
    }
    EXPECT_TRUE(hotKey.registered());
    EXPECT_THAT(log.lines, ElementsAre(u"Ovalin: RegisterEventHotKey failed (10), attempt 0"_s,
                                       u"Ovalin: RegisterEventHotKey failed (10), attempt 1"_s,
                                       u"Ovalin: RegisterEventHotKey failed (10), attempt 2"_s,
                                       u"Ovalin: hotkey registered after 3 retries"_s));
}

TEST_F(HotKeyTest, ASeriesEndsAfterSevenTriesAndWakeStartsAnother) {
    keys.states = std::vector(7, HotKeyState::Taken);
    hotKey.registerHotKey(0);
    dispatch.advance(1 + 2 + 4 + 8 + 16 + 30 + 0.1);
    EXPECT_EQ(keys.registrations, 7);
    dispatch.advance(1000);
    EXPECT_EQ(keys.registrations, 7);
    hotKey.reassertHotKey();
    EXPECT_TRUE(hotKey.registered());
    EXPECT_EQ(keys.unregistrations, 0) << "there was nothing to unregister";
    hotKey.reassertHotKey();
    EXPECT_EQ(keys.unregistrations, 1);
}

TEST_F(HotKeyTest, ANewSeriesReplacesTheOneUnderWay) {
    keys.states = std::vector(2, HotKeyState::Taken);
    hotKey.registerHotKey(0);
    hotKey.reassertHotKey();
    dispatch.advance(1.1);
    EXPECT_EQ(keys.registrations, 3) << "one retry, of the newer series";
    dispatch.advance(100);
    EXPECT_EQ(keys.registrations, 3);
}

TEST_F(HotKeyTest, PressesWithinAQuarterSecondCountOnce) {
    hotKey.registerHotKey(0);
    keys.pressed(5000);
    EXPECT_EQ(fired, 0) << "the handler only posts";
    dispatch.runMain();
    EXPECT_EQ(fired, 1);
    dispatch.advance(0.2);
    hotKey.hotkeyFired();
    dispatch.advance(0.06);
    EXPECT_EQ(fired, 1);
    hotKey.hotkeyFired();
    EXPECT_EQ(fired, 2) << "an ignored press does not extend the wait";
}

TEST_F(HotKeyTest, AHeldKeyThatAnotherProgramPassesOnCountsOnceAlsoWhenItsLastRepeatsComeLate) {
    hotKey.passedOn(false);
    for (int repeat = 0; repeat < 80; ++repeat) { // the panel waits for the keyboard until the key goes up
        dispatch.advance(0.03);
        hotKey.passedOn(repeat < 50);
    }
    EXPECT_EQ(fired, 1);
    dispatch.advance(0.3);
    hotKey.passedOn(false);
    EXPECT_EQ(fired, 2);
}

TEST_F(HotKeyTest, PressesAreToldApartByWhenTheyWereMadeNotByWhenTheyAreHandled) {
    hotKey.registerHotKey(0);
    struct Row {
        quint32 time;
        double handledAfter;
        int counts;
    };
    int handled = 0;
    for (const Row& row : {Row{0xffffff00U, 1, 1}, Row{0xffffff00U + 249, 5, 0}, Row{0xffffff00U + 250, 0, 1},
                           Row{0x100, 0, 1}, Row{0x1f0, 9, 0}, Row{0x1f9, 9, 0}, Row{0x1fa, 0, 1}}) {
        dispatch.advance(row.handledAfter);
        const int before = fired;
        keys.pressed(row.time);
        dispatch.runMain();
        EXPECT_EQ(fired - before, row.counts) << row.time;
        EXPECT_EQ(keys.handled, ++handled) << "else nobody could type any more";
    }
}
