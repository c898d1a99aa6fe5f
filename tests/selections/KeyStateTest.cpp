#include "platform/x11/input/KeyState.h"

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
enum Code : quint8 { LetterA = 8, Cyrillic, Right, Space, ShiftL, CtrlL, AltL, SuperR, AltGr, PageUp };

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
        {XK_Prior, 0, 0, 0},
    };
    const quint8 modifiers[8][2] = {{ShiftL}, {}, {CtrlL}, {0, SuperR}, {}, {}, {AltL}, {AltGr}};
    return keyRoles(LetterA, 4, {&symbols[0][0], std::size(symbols) * 4}, 2, {&modifiers[0][0], 16});
}

struct KeyStateTest : testing::Test {
    KeyStateTest() { state.setRoles(roles()); }
    KeyState state;
};

using Key = EventMonitors::Key;
using Press = KeyState::Press;

} // namespace

TEST_F(KeyStateTest, OnlyModifiersAndWindowManagerChordsLeaveTheSelectionAlone) {
    const struct {
        const char* why;
        std::vector<quint8> held;
        quint8 pressed;
        Press counts;
    } rows[] = {
        {"a letter", {}, LetterA, Press::Typing},
        {"a modifier", {}, ShiftL, Press::Nothing},
        {"an application's chord", {CtrlL}, LetterA, Press::Typing},
        {"extending by one character, which no terminal scrolls by", {ShiftL}, LetterA, Press::Typing},
        {"extending by a page, which scrolls a terminal", {ShiftL}, PageUp, Press::Scrolling},
        {"a page up that is typed", {}, PageUp, Press::Typing},
        {"the hotkey", {AltL}, Space, Press::Nothing},
        {"Super, wherever the layout has it", {SuperR}, Right, Press::Nothing},
        {"AltGr types characters", {AltGr}, LetterA, Press::Typing},
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
    EXPECT_EQ(state.press(Space), Press::Nothing) << "Alt is still held";
    state.release(AltL);
    EXPECT_EQ(state.press(Space), Press::Typing);
}

TEST_F(KeyStateTest, TheSecondLayoutsLetterIsFoundToo) {
    state.press(Cyrillic);
    EXPECT_EQ(state.release(Cyrillic), (EventMonitors::KeyUp{Key::A, false, false}));
}

TEST(KeyRoles, HalfOrEmptyTablesAreHarmless) {
    KeyState state;
    state.setRoles(keyRoles(250, 0, std::vector<quint32>(20, XK_a), 0, {}));
    EXPECT_EQ(state.press(255), Press::Typing);
}
