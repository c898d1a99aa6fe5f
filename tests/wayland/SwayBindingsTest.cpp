#include "platform/wayland/sway/SwayBindings.h"
#include "support/Testing.h"

TEST(SwayBindings, AChordOfTheUsersOwnIsFoundHoweverItIsWritten) {
    QTemporaryDir folder;
    writeFile(folder.filePath(u"keys's/more"_s), "bindsym Mod1+space exec menu\n");
    const char* const MENU = "exec menu";
    const struct {
        const char* config;
        const char* command; // null: the key is free
    } rows[] = {
        {"", nullptr},
        {"bindsym Mod1+space exec menu", MENU},
        {"  bindsym --no-warn --release alt+SPACE exec menu # x", "exec menu # x"},
        {"set $mod Mod1\nbindsym $mod+space exec menu", MENU},
        {"set $m Mod4\nset $mod Mod1\nbindsym $mod+space exec menu", MENU},
        {"set $mod Mod4\nbindsym $mod+space exec menu", nullptr},
        {"bindsym Mod1+Shift+space exec menu", nullptr},
        {"bindsym Mod1+space+a exec menu", nullptr},
        {"#bindsym Mod1+space exec menu", nullptr},
        {"bindsym {\n  Mod4+a nop\n  Mod1+space exec menu\n}", MENU},
        {"bindcode Mod1+65 exec menu", MENU},
        {"bindcode Mod1+66 exec menu", nullptr},
        {"bindsym Mod1+space \\\n exec menu", MENU},
        {"mode resize {\n  bindsym Mod1+space exec menu\n}", nullptr},
        {"mode \"resize\" {\n  bindsym a nop\n}\nbindsym Mod1+space exec menu", MENU},
        {"include mor?", MENU},
        {"include missing/*\ninclude more\ninclude $nonsense(", MENU},
        {"}\n{\nbindsym", nullptr},
    };
    for (const auto& row : rows) {
        const auto bound = boundTo(QString::fromUtf8(row.config), folder.filePath(u"keys's"_s), KeyChord{});
        EXPECT_EQ(bound, row.command ? std::optional(QString::fromUtf8(row.command)) : std::nullopt) << row.config;
    }
    EXPECT_EQ(swayChord(*KeyChord::parse(u"Super+Shift+F9"_s)), "Shift+Mod4+F9");
}
