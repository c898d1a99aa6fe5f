#include "fakes/FakeDispatch.h"
#include "keyboard/KeyboardDesk.h"
#include "platform/x11/keyboard/KeyMap.h"
#include "platform/x11/keyboard/X11KeyboardHold.h"

#include <QMenu>

#include <X11/keysym.h>

namespace {

struct Hold : testing::Test {
    QtDispatch dispatch;
    OtherClient other;
    X11KeyboardHold hold{dispatch};

    void typed(PanelWindow& panel, const char* key, const char* expected) {
        tap(key);
        EXPECT_TRUE(waitUntil([&] { return panel.line.text() == QString::fromUtf8(expected); }))
            << panel.line.text().toStdString();
    }
};

TEST_F(Hold, KeysComeToThePanelWhileFocusAndActiveWindowStay) {
    const Editor editor = openEditor(u"text"_s);
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    EXPECT_TRUE(hold.held());
    typed(panel, "h", "h");
    typed(panel, "i", "hi");
    EXPECT_EQ(focusedWindow(), editor.window);
    EXPECT_EQ(activeWindow(), editor.window);

    hold.pressOutside();
    EXPECT_FALSE(hold.held());
    EXPECT_TRUE(other.grabKeyboard()) << "a screen locker could not have it";
    other.ungrabKeyboard();
    hold.take(*panel.windowHandle());
    typed(panel, "g", "hig");
    hold.letGo();
    desk().end(editor.process);
}

TEST_F(Hold, AnAccentTypedBeforeTheFocusIsKnownStands) {
    desk().output(u"setxkbmap"_s, {u"us"_s, u"intl"_s});
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    tap("dead_acute"); // nothing is read meanwhile
    typed(panel, "e", "é");
    hold.letGo();
    desk().output(u"setxkbmap"_s, {u"us"_s});
}

TEST_F(Hold, WaitsForAnotherClientsGrabToEndAndSaysSoWhenItDoesNot) {
    PanelWindow panel;
    int refusals = 0;
    hold.refused = [&] { ++refusals; };
    std::vector<bool> changes;
    hold.heldChanged = [&](bool held) { changes.push_back(held); };
    ASSERT_TRUE(other.grabKeyboard());
    hold.take(*panel.windowHandle());
    EXPECT_FALSE(hold.held());
    EXPECT_TRUE(waitUntil([&] { return refusals == 1; }));
    EXPECT_EQ(std::exchange(changes, {}), (std::vector<bool>{true, false}));

    hold.take(*panel.windowHandle());
    dispatch.after(std::chrono::milliseconds(20), &panel, [&] { other.ungrabKeyboard(); });
    EXPECT_TRUE(waitUntil([&] { return hold.held(); }));
    hold.letGo();
    EXPECT_EQ(changes, (std::vector<bool>{true, false, true, false})) << "what waits for the panel is never monitored";
    EXPECT_EQ(refusals, 1);
}

TEST_F(Hold, TakesTheFocusWhereTheKeyboardCannotBeHadAndGivesItBack) {
    const Editor editor = openEditor(u"text"_s);
    PanelWindow panel;
    const auto window = static_cast<quint32>(panel.winId());
    bool refused = false;
    hold.refused = [&] { refused = true; };
    ASSERT_TRUE(other.grabKeyboard());
    hold.take(*panel.windowHandle());
    ASSERT_TRUE(waitUntil([&] { return refused; }));
    EXPECT_EQ(focusedWindow(), QString::number(window));
    other.ungrabKeyboard();
    typed(panel, "a", "a");
    hold.letGo();
    EXPECT_EQ(focusedWindow(), editor.window);
    desk().end(editor.process);
}

TEST_F(Hold, WaitsForAShortcutProgramAsLongAsItsKeyIsDown) {
    FakeDispatch time;
    X11KeyboardHold waiting(time);
    PanelWindow panel;
    const quint8 x = KeyMap::read(other.connection)->plainKey(XK_x);
    bool refused = false;
    waiting.refused = [&] { refused = true; };
    for (const bool released : {true, false}) {
        ASSERT_TRUE(waitUntil([&] { return other.grabKeyboard(); }));
        other.finger(x, true);
        waiting.take(*panel.windowHandle());
        time.advance(4.9);
        EXPECT_TRUE(waiting.waiting());
        if (released) {
            other.finger(x, false);
            other.ungrabKeyboard();
        }
        time.advance(0.2);
        EXPECT_EQ(waiting.held(), released);
        EXPECT_EQ(refused, !released) << "not for ever";
        waiting.letGo();
    }
    other.finger(x, false);
}

TEST_F(Hold, AKeyThatIsStillDownWhenItEndsIsNotRepeatedIntoTheApplication) {
    const auto map = KeyMap::read(other.connection);
    const quint8 enter = map->plainKey(XK_Return), x = map->plainKey(XK_x), alt = map->modifierKeys(3).front();
    PanelWindow panel;
    other.finger(x, true); // the application knows of this one
    hold.take(*panel.windowHandle());
    bool entered = false;
    QObject::connect(&panel.line, &QLineEdit::returnPressed, [&] { entered = true; });
    other.finger(enter, true);
    EXPECT_TRUE(waitUntil([&] { return entered; }));
    other.finger(alt, true);
    hold.letGo();
    EXPECT_TRUE(waitUntil([&] { return !other.isDown(enter); }));
    EXPECT_TRUE(other.isDown(x)) << "the application waits for its release";
    EXPECT_TRUE(other.isDown(alt)) << "the next key is typed with it";
    for (const quint8 key : {enter, alt, x})
        other.finger(key, false);
    other.finger(enter, true);
    EXPECT_TRUE(other.isDown(enter)) << "the next press is one again";
    other.finger(enter, false);
}

TEST_F(Hold, GoesToALockerWithTheScreenSaverAndComesBackWithoutOne) {
    const auto saver = [](const char* what) { desk().output(u"xset"_s, {u"s"_s, QString::fromLatin1(what)}); };
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    for (const bool locks : {false, true}) {
        saver("activate");
        EXPECT_TRUE(waitUntil([&] { return !hold.held(); }));
        if (locks) {
            EXPECT_TRUE(other.grabKeyboard());
        }
        saver("reset");
        EXPECT_TRUE(waitUntil([&] { return locks ? hold.waiting() : hold.held(); }));
    }
    EXPECT_TRUE(waitUntil([&] { return !hold.waiting(); }));
    EXPECT_FALSE(hold.held());
}

// It may be a locker that shows before it asks for the keyboard.
TEST_F(Hold, EndsUnderAWindowThatCoversThePanelAndComesBackAfterIt) {
    const struct {
        QSize size;
        bool covers;
    } rows[] = {{{3000, 3000}, true}, {{50, 50}, false}};
    for (const auto& row : rows) {
        PanelWindow panel;
        hold.take(*panel.windowHandle());
        typed(panel, "a", "a");
        const quint32 cover = other.showUnmanaged(row.size);
        if (row.covers)
            EXPECT_TRUE(waitUntil([&] { return !hold.held(); }));
        tap("b");
        other.hide(cover);
        EXPECT_TRUE(waitUntil([&] { return hold.held(); }));
        typed(panel, "c", row.covers ? "ac" : "abc");
        hold.letGo();
    }
}

TEST_F(Hold, StaysUnderTheOverlayOfACompositingManager) {
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    typed(panel, "a", "a");
    other.showOverlay();
    for (const char* text : {"ab", "abb"})
        typed(panel, "b", text);
    other.hideOverlay();
    hold.letGo();
}

TEST_F(Hold, IsTakenAgainAfterAPopupClosed) {
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    QMenu menu;
    menu.addAction(u"one"_s);
    menu.popup(QPoint(100, 100));
    ASSERT_TRUE(waitUntil([&] { return menu.isVisible(); }));
    tap("Escape");
    ASSERT_TRUE(waitUntil([&] { return !menu.isVisible(); }));
    EXPECT_TRUE(waitUntil([&] { return !other.grabKeyboard() || (other.ungrabKeyboard(), false); }));
    typed(panel, "a", "a");
}

TEST_F(Hold, EndsAfterFiveMinutesWithoutAKey) {
    FakeDispatch time;
    X11KeyboardHold idle(time);
    PanelWindow panel;
    idle.take(*panel.windowHandle());
    time.advance(299);
    typed(panel, "a", "a");
    time.advance(299);
    EXPECT_TRUE(idle.held()) << "a key came in between";
    time.advance(2);
    EXPECT_FALSE(idle.held());
    EXPECT_TRUE(other.grabKeyboard());
}

} // namespace
