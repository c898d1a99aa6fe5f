#include "keyboard/KeyboardDesk.h"
#include "platform/x11/XThread.h"
#include "platform/x11/keyboard/KeyMap.h"
#include "platform/x11/keyboard/X11HotKeys.h"
#include "platform/x11/keyboard/X11KeyboardHold.h"

#include <QElapsedTimer>

#include <X11/keysym.h>
#include <xcb/xcb.h>

namespace {

/// Counts what Qt's connection is sent for the key, to know that repeats did happen.
struct KeyCounter final : QAbstractNativeEventFilter {
    KeyCounter() { qApp->installNativeEventFilter(this); }
    ~KeyCounter() override { qApp->removeNativeEventFilter(this); }
    bool nativeEventFilter(const QByteArray&, void* message, qintptr*) override {
        presses += static_cast<xcb_generic_event_t*>(message)->response_type == XCB_KEY_PRESS;
        return false;
    }
    int presses = 0;
};

struct HotKey : testing::Test {
    HotKey() {
        keys.pressed = [this](quint32) {
            ++fired;
            keys.pressHandled();
        };
        keys.shouldReassert = [this] {
            ++reasserted;
            EXPECT_EQ(keys.registerHotKey(), HotKeyState::Registered);
        };
        map = KeyMap::read(other.connection);
        space = map->plainKey(XK_space);
    }
    ~HotKey() override {
        QCoreApplication::processEvents();
    } // a press that is still on its way is none of the next case's

    QtDispatch dispatch;
    OtherClient other;
    X11HotKeys keys{dispatch};
    std::optional<KeyMap> map;
    quint8 space = 0;
    int fired = 0;
    int reasserted = 0;
};

TEST_F(HotKey, FiresOnceForEachPressWhateverLocksAreOn) {
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    int presses = 0;
    for (const char* lock : {"", "Caps_Lock", "Num_Lock"}) {
        if (*lock)
            tap(lock);
        tap("alt+space");
        EXPECT_TRUE(waitUntil([&] { return fired == presses + 1; })) << fired << " with " << lock;
        ++presses;
    }
    tap("Caps_Lock");
    tap("Num_Lock");
    tap("space");
    tap("ctrl+alt+space");
    tap("alt+space");
    EXPECT_TRUE(waitUntil([&] { return fired == presses + 1; }));
    keys.unregisterHotKey();
    EXPECT_EQ(other.grabKey(space, XCB_MOD_MASK_1), 0) << "unregistered, and still grabbed";
}

TEST_F(HotKey, IsWhatTheUserHasChosen) {
    for (const char* chord : {"super+space", "ctrl+shift+F9", "F8", "alt+grave"}) {
        X11HotKeys chosen(dispatch, KeyChord::parse(QString::fromLatin1(chord)).value());
        chosen.pressed = [&](quint32) {
            ++fired;
            chosen.pressHandled();
        };
        fired = 0;
        ASSERT_EQ(chosen.registerHotKey(), HotKeyState::Registered) << chord;
        for (const char* key : {"alt+space", "shift+F8", "ctrl+F9", "grave", chord})
            tap(key);
        EXPECT_TRUE(waitUntil([&] { return fired > 0; })) << chord;
        QCoreApplication::processEvents();
        EXPECT_EQ(fired, 1) << chord;
    }
    X11HotKeys missing(dispatch, KeyChord::parse(u"Alt+F35"_s).value());
    EXPECT_LT(missing.registerHotKey(), HotKeyState::Registered) << "no key of this keyboard";
}

TEST_F(HotKey, AHeldKeyFiresOnceAndRepeatsNeitherFireNorType) {
    desk().output(u"xset"_s, {u"r"_s, u"rate"_s, u"60"_s, u"50"_s});
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    X11KeyboardHold hold(dispatch);
    PanelWindow panel;
    KeyCounter counter;
    keys.pressed = [&](quint32) {
        ++fired;
        hold.take(*panel.windowHandle());
    };
    for (int round = 1; round <= 2; ++round) {
        counter.presses = 0;
        other.finger(map->modifierKeys(3).front(), true);
        other.finger(space, true);
        EXPECT_TRUE(waitUntil([&] { return counter.presses > 4; }));
        other.finger(map->modifierKeys(3).front(), false);
        const int atRelease = counter.presses;
        EXPECT_TRUE(waitUntil([&] { return counter.presses > atRelease + 3; }));
        other.finger(space, false);
        tap("x");
        EXPECT_TRUE(waitUntil([&] { return panel.line.text() == QString(round, u'x'); }))
            << panel.line.text().toStdString();
        EXPECT_EQ(fired, round);
    }
}

TEST_F(HotKey, KeysThatFollowThePressWaitForThePanelInOrder) {
    const Editor editor = openEditor(u"text"_s);
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    X11KeyboardHold hold(dispatch);
    PanelWindow panel;
    quint32 at = 0;
    keys.pressed = [&](quint32 time) {
        ++fired;
        at = time;
    };
    tap("alt+space");
    for (const char* key : {"a", "b", "c"})
        tap(key);
    EXPECT_TRUE(waitUntil([&] { return fired == 1; }));
    EXPECT_TRUE(keys.pressedSince(at)) << "a click that was not beside the panel";
    EXPECT_FALSE(keys.pressedSince(at + 1)) << "one that was";
    hold.take(*panel.windowHandle());
    keys.pressHandled();
    EXPECT_TRUE(waitUntil([&] { return panel.line.text() == u"abc"_s; })) << panel.line.text().toStdString();
    tap("ctrl+alt+space");
    tap("alt+space");
    EXPECT_TRUE(waitUntil([&] { return fired == 2; })) << "through our own hold";
    tap("d");
    EXPECT_TRUE(waitUntil([&] { return panel.line.text().endsWith(u'd'); }));
    EXPECT_EQ(fired, 2) << "another chord is not ours";
    desk().end(editor.process);
}

TEST_F(HotKey, TheKeyboardDoesNotStayStoppedWhateverThisProgramDoes) {
    XThread thread;
    const quint8 x = map->plainKey(XK_x);
    const auto stopped = [&] {
        keys.pressed = [](quint32) {};
        tap("alt+space");
        other.finger(x, true);
        return !other.isDown(x);
    };
    const auto goesOn = [&] { return waitUntil([&] { return other.isDown(x); }) && (other.finger(x, false), true); };
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    ASSERT_TRUE(stopped());
    keys.unregisterHotKey();
    EXPECT_TRUE(goesOn());

    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    thread.runAndWait([&] { std::ignore = keys.watchdog(thread)(space, XCB_MOD_MASK_1); });
    ASSERT_TRUE(stopped());
    EXPECT_TRUE(goesOn()) << "the main thread is stuck";

    ASSERT_TRUE(stopped());
    keys.pressHandled();
    EXPECT_TRUE(goesOn());
}

TEST_F(HotKey, AKeyThatAnotherClientHoldsIsRefusedAndNothingStaysGrabbed) {
    const auto numLock = static_cast<quint16>(XCB_MOD_MASK_1 | map->modifierMask(XK_Num_Lock));
    ASSERT_EQ(other.grabKey(space, numLock), 0); // only one of the combinations
    EXPECT_EQ(keys.registerHotKey(), HotKeyState::Taken);
    XThread thread;
    thread.runAndWait([&] { EXPECT_FALSE(keys.watchdog(thread)(space, XCB_MOD_MASK_1)) << "another's press"; });
    OtherClient third;
    for (const int locks : {0, int{XCB_MOD_MASK_LOCK}})
        EXPECT_EQ(third.grabKey(space, static_cast<quint16>(XCB_MOD_MASK_1 | locks)), 0);
    EXPECT_EQ(keys.registerHotKey(), HotKeyState::Taken);
    for (const int locks : {0, int{XCB_MOD_MASK_LOCK}})
        third.ungrabKey(space, static_cast<quint16>(XCB_MOD_MASK_1 | locks));
    other.ungrabKey(space, numLock);
    EXPECT_EQ(keys.registerHotKey(), HotKeyState::Registered);
}

TEST_F(HotKey, OnlyAMapThatMovesTheKeyAsksForANewRegistrationAndOnlyOnce) {
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    desk().output(u"setxkbmap"_s, {u"de"_s});
    for (int i = 0; i < 200; ++i)
        other.setSymbolsOf(200, static_cast<quint32>(XK_F1 + i % 2));
    tap("alt+space");
    EXPECT_TRUE(waitUntil([&] { return fired == 1; }));

    const quint8 spare = 201;
    other.setSymbolsOf(space, XK_F3);
    other.setSymbolsOf(spare, XK_space);
    EXPECT_TRUE(waitUntil([&] { return reasserted > 0; }));
    tap("alt+space");
    EXPECT_TRUE(waitUntil([&] { return fired == 2; }));
    EXPECT_EQ(reasserted, 1);
    desk().output(u"setxkbmap"_s, {u"us"_s});
    EXPECT_TRUE(waitUntil([&] { return reasserted == 2; }));
}

TEST_F(HotKey, AWindowManagerThatGoesOrComesAsksForANewRegistration) {
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    desk().killWindowManager();
    EXPECT_TRUE(waitUntil([&] { return reasserted == 1; }));
    desk().startWindowManager();
    EXPECT_TRUE(waitUntil([&] { return reasserted >= 2; }));
    tap("alt+space");
    EXPECT_TRUE(waitUntil([&] { return fired == 1; }));
}

} // namespace
