// What GNOME's settings say about the hotkey; the rest is driven by scripts/check-compositors.
#include "SwaySide.h"

#include "platform/wayland/gnome/GnomeHotKeys.h"

TEST(Gnome, AShortcutOfTheUsersOwnIsTheHotkeyUnlessAnotherHasIt) {
    const QString window = u"org.gnome.desktop.wm.keybindings activate-window-menu %1\n"_s;
    const struct {
        const char *menu, *binding, *command;
        bool ours, taken;
    } rows[] = {{"['<Alt>space']", "", "", false, true},
                {"@as []", "", "", false, false},
                {"['<Shift><Alt>space']", "<Alt>space", "/usr/bin/ovalin toggle", true, false},
                {"['<Super>s', '<Mod1>Space']", "<Alt>space", "ovalin toggle", true, true},
                {"['']", "<Alt>space", "xterm", false, true},
                {"['<Alt']", "<Super>space", "ovalin toggle", false, false}};
    for (const auto& row : rows) {
        GnomeShortcuts found = gnomeShortcuts(window.arg(QLatin1String(row.menu)), {});
        found.add(QString::fromLatin1(row.binding), QString::fromLatin1(row.command), {});
        EXPECT_EQ(found.ours, row.ours) << row.menu;
        EXPECT_EQ(found.taken, row.taken) << row.menu;
    }
    const auto listed =
        gnomeShortcuts(u"org.gnome.settings-daemon.plugins.media-keys custom-keybindings ['/a/', '/b/']\n"_s, {});
    EXPECT_EQ(listed.customs, (QStringList{u"/a/"_s, u"/b/"_s}));
}
