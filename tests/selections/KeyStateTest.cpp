#include "platform/x11/KeyState.h"

#include <gtest/gtest.h>

#include <X11/keysym.h>

#include <ostream>

using namespace ovalin;

namespace ovalin {
bool operator==(const EventMonitors::KeyUp& a, const EventMonitors::KeyUp& b) {
    return a.key == b.key && a.shift == b.shift && a.command == b.command;
}
} // namespace ovalin

namespace {

// Key codes of a small keyboard: 8 and 9 have two layouts of two symbols each.
enum Code : quint8 { LetterA = 8, Cyrillic, Right, Space, ShiftL, CtrlL, AltL, SuperR, AltGr };

KeyRoles roles() {
    const quint32 symbols[][4] = {
        {XK_a, XK_A, XK_Cyrillic_ef, XK_Cyrillic_EF},
        {XK_Cyrillic_ef, XK_Cyrillic_EF, XK_a, XK_A},
        {XK_Right, 0, 0, 0},
        {XK_space, 0, 0, 0},
        {XK_Shift_L, 0, 0, 0},
        {XK_Control_L, 0, 0, 0},
        {XK_Alt_L, XK_Meta_L, 0, 0},
        {XK_Super_R, 0, 0, 0},
        {XK_ISO_Level3_Shift, 0, 0, 0},
    };
    const quint8 modifiers[8][2] = {{ShiftL}, {}, {CtrlL}, {0, SuperR}, {}, {}, {AltL}, {AltGr}};
    return keyRoles(LetterA, 4, {&symbols[0][0], std::size(symbols) * 4}, 2, {&modifiers[0][0], 16});
}

struct KeyStateTest : testing::Test {
    KeyStateTest() { state.setRoles(roles()); }
    KeyState state;
};

using Key = EventMonitors::Key;

} // namespace

TEST_F(KeyStateTest, OnlyModifiersAndWindowManagerChordsLeaveTheSelectionAlone) {
    const struct {
        const char* why;
        std::vector<quint8> held;
        quint8 pressed;
        bool counts;
    } rows[] = {
        {"a letter", {}, LetterA, true},
        {"a modifier", {}, ShiftL, false},
        {"an application's chord", {CtrlL}, LetterA, true},
        {"extending", {ShiftL}, Right, true},
        {"the hotkey", {AltL}, Space, false},
        {"Super, wherever the layout has it", {SuperR}, Right, false},
        {"AltGr types characters", {AltGr}, LetterA, true},
    };
    for (const auto& row : rows) {
        for (const quint8 code : row.held)
            state.press(code);
        EXPECT_EQ(state.press(row.pressed), row.counts) << row.why;
        state.reset({});
    }
}

TEST_F(KeyStateTest, KeyUpReportsTheModifiersOfItsKeyDown) {
    state.press(ShiftL);
    state.press(Right);
    state.release(ShiftL);
    state.press(CtrlL);
    EXPECT_EQ(state.release(Right), (EventMonitors::KeyUp{Key::Arrow, true, false}));
    state.press(LetterA);
    EXPECT_EQ(state.release(CtrlL), std::nullopt) << "a modifier is no key";
    EXPECT_EQ(state.release(LetterA), (EventMonitors::KeyUp{Key::A, false, true}));
    EXPECT_EQ(state.release(LetterA), std::nullopt) << "a second copy";
}

TEST_F(KeyStateTest, KeysDownFromBeforeCountAsModifiersOnly) {
    KeyState::Codes down;
    down.set(AltL);
    down.set(LetterA);
    state.reset(down);
    EXPECT_EQ(state.release(LetterA), std::nullopt);
    EXPECT_FALSE(state.press(Space)) << "Alt is still held";
    state.release(AltL);
    EXPECT_TRUE(state.press(Space));
}

TEST_F(KeyStateTest, TheSecondLayoutsLetterIsFoundToo) {
    state.press(Cyrillic);
    EXPECT_EQ(state.release(Cyrillic), (EventMonitors::KeyUp{Key::A, false, false}));
}

TEST(KeyRoles, HalfOrEmptyTablesAreHarmless) {
    KeyState state;
    state.setRoles(keyRoles(250, 0, std::vector<quint32>(20, XK_a), 0, {}));
    EXPECT_TRUE(state.press(255));
}
