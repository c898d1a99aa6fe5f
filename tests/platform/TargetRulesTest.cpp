#include "platform/applications/TargetRules.h"
#include "support/Testing.h"

using Copy = TargetRule::Copy;
using Keys = PasteWay::Keys;
using Before = PasteWay::Before;
using enum FocusKind;

TEST(TargetRules, AskAndSendWhatIsSafeInEachKindOfApplication) {
    constexpr Libraries none, common{true, false, false, false}, tk{true, true, false, false},
        vte{true, false, true, false}, remote{true, false, false, true};
    const struct {
        const char* name;
        Libraries libraries;
        FocusKind focus;
        Copy copy;
        Keys keys;
        Before before = Before::Nothing;
        bool primaryToo = false;
        bool oneLine = false;
    } rows[] = {
        {"mousepad", common, Password, Copy::None, Keys::None},
        {"xterm", none, Password, Copy::None, Keys::None},
        {"Xephyr", none, Unknown, Copy::None, Keys::None},
        {"VirtualBoxVM", common, Unknown, Copy::None, Keys::None},
        {"some-viewer", remote, Editable, Copy::None, Keys::None},
        {"mpv", common, Unknown, Copy::None, Keys::None},
        {"Gvim", common, Unknown, Copy::None, Keys::VimServer},
        {"Emacs", common, Unknown, Copy::None, Keys::ShiftInsert, Before::Delete},
        {"neovide", common, Unknown, Copy::None, Keys::None},
        {"XTerm", none, Unknown, Copy::None, Keys::ShiftInsert, Before::Nothing, true, true},
        {"URxvt", none, Unknown, Copy::None, Keys::ShiftInsert, Before::Nothing, true, true},
        {"konsole", common, Terminal, Copy::None, Keys::CtrlShiftV, Before::Nothing, false, true},
        {"org.gnome.Terminal", vte, Unknown, Copy::None, Keys::CtrlShiftV, Before::Nothing, false, true},
        {"com.mitchellh.ghostty", common, Unknown, Copy::None, Keys::CtrlShiftV, Before::Nothing, false, true},
        {"geany", vte, Terminal, Copy::None, Keys::CtrlShiftV, Before::Nothing, false, true},
        {"geany", vte, Editable, Copy::None, Keys::ShiftInsert},
        {"geany", vte, Unknown, Copy::None, Keys::CtrlV},
        {"Kate", common, Terminal, Copy::None, Keys::None},
        {"kate", common, Editable, Copy::None, Keys::ShiftInsert},
        {"kate", common, Unknown, Copy::None, Keys::CtrlV},
        {"an-editor", vte, Unknown, Copy::None, Keys::CtrlV},
        {"FocusWriter", common, Unknown, Copy::CtrlC, Keys::CtrlV},
        {"Toplevel", tk, Unknown, Copy::CtrlInsert, Keys::ShiftInsert, Before::BackSpace},
        {"mousepad", common, ReadOnly, Copy::CtrlInsert, Keys::None},
        {"mousepad", common, NoText, Copy::CtrlInsert, Keys::None},
        {"mousepad", common, Unknown, Copy::CtrlInsert, Keys::ShiftInsert},
        {"swing-thing", none, Editable, Copy::CtrlInsert, Keys::ShiftInsert},
        {"a-game", none, Unknown, Copy::None, Keys::ShiftInsert, Before::Nothing, true, true},
        {"", none, Unknown, Copy::None, Keys::ShiftInsert, Before::Nothing, true, true},
    };
    for (const auto& row : rows) {
        const TargetRule rule = targetRule({{QString(), QString::fromLatin1(row.name)}, row.libraries, row.focus});
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(static_cast<int>(row.focus)));
        EXPECT_EQ(rule.copy, row.copy);
        EXPECT_EQ(rule.paste.keys, row.keys);
        EXPECT_EQ(rule.paste.before, row.before);
        EXPECT_EQ(rule.paste.primaryToo, row.primaryToo);
        EXPECT_EQ(rule.paste.oneLine, row.oneLine);
        EXPECT_EQ(rule.paste.refusal.isEmpty(), rule.paste.safe()) << "a refusal says why";
    }
}

TEST(TargetRules, LoadedLibrariesTellWhatAnApplicationIsMadeOf) {
    const QByteArray start("7f00-7f01 r-xp 00000000 08:01 42 /usr/lib/x86_64-linux-gnu");
    EXPECT_TRUE(librariesIn(start + "/libgtk-3.so.0.2406.32\n").toolkit);
    EXPECT_TRUE(librariesIn(start + "/libQt5Gui.so.5.15.8\n").toolkit);
    EXPECT_TRUE(librariesIn(start + "/libnss3.so\n").toolkit) << "browsers";
    EXPECT_TRUE(librariesIn(start + "/libtk8.6.so\n").tk);
    EXPECT_TRUE(librariesIn(start + "/libvte-2.91.so.0\n").terminal);
    EXPECT_TRUE(librariesIn(start + "/libfreerdp2.so.2\n").screen);
    const Libraries none = librariesIn(start + "/libX11.so.6.4.0\n");
    EXPECT_FALSE(none.toolkit || none.tk || none.terminal || none.screen);
}
