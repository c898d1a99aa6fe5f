#include "platform/KeyChord.h"

#include "support/Testing.h"

TEST(KeyChord, IsReadAsPeopleWriteItAndNothingThatTypesIsTaken) {
    struct Row {
        const char* written;
        const char* name; ///< nullptr: refused
    };
    for (const Row& row : {Row{"alt+space", "Alt+Space"},
                           Row{"Super+Space", "Super+Space"},
                           Row{" Meta + enter ", "Super+Return"},
                           Row{"control+SHIFT+a", "Ctrl+Shift+A"},
                           Row{"Alt+`", "Alt+`"},
                           Row{"Ctrl+plus", "Ctrl++"},
                           Row{"Option+ö", "Alt+Ö"},
                           Row{"F9", "F9"},
                           Row{"XF86Search", "XF86Search"},
                           Row{"Shift+Pause", "Shift+Pause"},
                           Row{"", nullptr},
                           Row{"Space", nullptr},
                           Row{"Shift+a", nullptr},
                           Row{"Escape", nullptr},
                           Row{"Super", nullptr},
                           Row{"Alt+", nullptr},
                           Row{"Alt+Super_L", nullptr},
                           Row{"Supper+Space", nullptr},
                           Row{"Alt+Tabulator", nullptr},
                           Row{"Alt+ab", nullptr}}) {
        Config config;
        config.hotkey = QString::fromUtf8(row.written);
        config.hotkeys = {u"Hyper+Banana"_s, config.hotkey};
        const KeyChord chord = hotkeyOf(config);
        EXPECT_EQ(config.hotkey, row.name ? QString::fromUtf8(row.name) : u"Alt+Space"_s) << row.written;
        EXPECT_EQ(config.complaints.size(), row.name ? 1 : 2) << row.written;
        EXPECT_EQ(KeyChord::parse(config.hotkey), chord) << row.written;
    }
}
