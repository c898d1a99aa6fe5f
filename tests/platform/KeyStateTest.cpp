#include "platform/x11/input/KeyState.h"
#include "support/Testing.h"

#include <xkbcommon/xkbcommon.h>

namespace {

// Key codes of a PC keyboard.
enum Code : quint8 { LetterQ = 24, CtrlL = 37, LetterA = 38, ShiftL = 50, AltL = 64, Space = 65, AltGr = 108 };
enum More : quint8 { PageUp = 112, Right = 114, SuperR = 134 };

KeyMap mapOf(const char* layouts) {
    const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                             &xkb_context_unref);
    const xkb_rule_names names{"evdev", "pc105", layouts, "", ""};
    return {{xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS), &xkb_keymap_unref}, 0};
}

struct KeyStateTest : testing::Test {
    KeyStateTest() { state.setMap(mapOf("de,fr")); }
    KeyState state;
};

using Key = KeyUp::Key;
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
        {"AltGr alone", {}, AltGr, Press::Nothing},
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
    EXPECT_EQ(state.release(Right), (KeyUp{Key::Arrow, true, false}));
    state.press(LetterA);
    EXPECT_EQ(state.release(CtrlL), std::nullopt) << "a modifier is no key";
    EXPECT_EQ(state.release(LetterA), (KeyUp{Key::A, false, true}));
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
    state.press(LetterQ);
    EXPECT_EQ(state.release(LetterQ), (KeyUp{Key::A, false, false}));
}

TEST(KeyState, WithoutAMapEveryKeyIsTyped) {
    KeyState state;
    EXPECT_EQ(state.press(AltL), KeyState::Press::Typing);
    EXPECT_EQ(state.release(AltL), (KeyUp{Key::Other, false, false}));
}

TEST(KeyUp, OnlyTheKeysThatSelectMayChangeASelection) {
    EXPECT_TRUE((KeyUp{Key::Arrow, true, false}.selects()));
    EXPECT_TRUE((KeyUp{Key::A, false, true}.selects()));
    EXPECT_FALSE((KeyUp{Key::Arrow, false, true}.selects()));
    EXPECT_FALSE((KeyUp{Key::A, true, false}.selects()));
    EXPECT_FALSE((KeyUp{Key::Other, true, true}.selects()));
}
