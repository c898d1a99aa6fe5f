#include "fakes/FakeDispatch.h"
#include "keyboard/KeyboardDesk.h"
#include "platform/x11/X11KeyboardHold.h"

#include <gtest/gtest.h>

#include <QMenu>

using namespace ovalin;

namespace {

struct Hold : testing::Test {
    QtDispatch dispatch;
    OtherClient other;
    X11KeyboardHold hold{dispatch};

    void typed(PanelWindow& panel, const char* key, const char* expected) {
        tap(key);
        EXPECT_TRUE(waitUntil([&] { return panel.line.text() == QLatin1String(expected); }))
            << panel.line.text().toStdString();
    }
};

TEST_F(Hold, KeysComeToThePanelWhileFocusAndActiveWindowStay) {
    const Editor editor = openEditor(QStringLiteral("text"));
    PanelWindow panel;
    hold.take(static_cast<quint32>(panel.winId()));
    EXPECT_TRUE(hold.held());
    typed(panel, "h", "h");
    typed(panel, "i", "hi");
    EXPECT_EQ(focusedWindow(), editor.window);
    EXPECT_EQ(activeWindow(), editor.window);

    hold.pressOutside();
    EXPECT_FALSE(hold.held());
    EXPECT_TRUE(other.grabKeyboard()) << "a screen locker could not have it";
    other.ungrabKeyboard();
    hold.take(static_cast<quint32>(panel.winId()));
    typed(panel, "g", "hig");
    hold.letGo();
    desk().end(editor.process);
}

TEST_F(Hold, WaitsForAnotherClientsGrabToEndAndSaysSoWhenItDoesNot) {
    PanelWindow panel;
    int refusals = 0;
    hold.refused = [&] { ++refusals; };
    std::vector<bool> changes;
    hold.heldChanged = [&](bool held) { changes.push_back(held); };
    ASSERT_TRUE(other.grabKeyboard());
    hold.take(static_cast<quint32>(panel.winId()));
    EXPECT_FALSE(hold.held());
    EXPECT_TRUE(waitUntil([&] { return refusals == 1; }));
    EXPECT_TRUE(changes.empty());

    hold.take(static_cast<quint32>(panel.winId()));
    dispatch.after(std::chrono::milliseconds(20), &panel, [&] { other.ungrabKeyboard(); });
    EXPECT_TRUE(waitUntil([&] { return hold.held(); }));
    hold.letGo();
    EXPECT_EQ(changes, (std::vector<bool>{true, false}));
    EXPECT_EQ(refusals, 1);
}

TEST_F(Hold, TakesTheFocusWhereTheKeyboardCannotBeHadAndGivesItBack) {
    const Editor editor = openEditor(QStringLiteral("text"));
    PanelWindow panel;
    const auto window = static_cast<quint32>(panel.winId());
    bool refused = false;
    hold.refused = [&] { refused = true; };
    ASSERT_TRUE(other.grabKeyboard());
    hold.take(window);
    ASSERT_TRUE(waitUntil([&] { return refused; }));
    EXPECT_EQ(focusedWindow(), QString::number(window));
    other.ungrabKeyboard();
    typed(panel, "a", "a");
    hold.letGo();
    EXPECT_EQ(focusedWindow(), editor.window);
    desk().end(editor.process);
}

TEST_F(Hold, IsTakenAgainAfterAPopupClosed) {
    PanelWindow panel;
    hold.take(static_cast<quint32>(panel.winId()));
    QMenu menu;
    menu.addAction(QStringLiteral("one"));
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
    idle.take(static_cast<quint32>(panel.winId()));
    time.advance(299);
    typed(panel, "a", "a");
    time.advance(299);
    EXPECT_TRUE(idle.held()) << "a key came in between";
    time.advance(2);
    EXPECT_FALSE(idle.held());
    EXPECT_TRUE(other.grabKeyboard());
}

} // namespace
