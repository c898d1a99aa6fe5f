#include "keyboard/KeyboardDesk.h"
#include "platform/x11/keyboard/X11Keyboard.h"

using Sent = Keyboard::Sent;

namespace {

struct PasteKey : testing::Test {
    QtDispatch dispatch;
    X11KeyboardHold hold{dispatch};
    X11Keyboard keyboard{hold, {}};

    static AppWindow place(const Editor& editor) { return {editor.pid(), {editor.window.toUInt()}}; }
    Sent send(const AppWindow& target) {
        return keyboard.sendPaste(target, keyboard.pasteWay(target, FocusKind::Unknown, true));
    }
};

} // namespace

TEST_F(PasteKey, OnlyTheWindowThatWasMeantComesToTheFront) {
    const Editor wanted = openEditor(u"wanted"_s), other = openEditor(u"other"_s);
    EXPECT_EQ(send(place(wanted)), Sent::NoTarget) << "behind the other";
    EXPECT_FALSE(keyboard.bringToFront({other.pid(), place(wanted).window})) << "the number of another's";
    EXPECT_EQ(focusedWindow(), other.window);
    EXPECT_TRUE(keyboard.bringToFront(place(wanted)));
    EXPECT_EQ(focusedWindow(), wanted.window);
    EXPECT_EQ(send({}), Sent::NoTarget) << "nobody in particular";

    desk().killWindowManager();
    EXPECT_TRUE(keyboard.bringToFront(place(other)));
    EXPECT_EQ(focusedWindow(), other.window);
    desk().startWindowManager();
    desk().end(other.process);
    EXPECT_FALSE(keyboard.bringToFront(place(other)));
    desk().end(wanted.process);
}
