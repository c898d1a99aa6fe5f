#include "HotkeyAdvice.h"

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

struct Advice {
    const char* name; ///< lower case, as the desktop or the window manager begins its name
    const char* text; ///< %1: the key
};

// A desktop before the window managers that it may run.
constexpr std::array ADVICE{
    Advice{"xfce",
           "Settings → Window Manager → Keyboard: select the line with %1 (the window's menu) and press Clear; then "
           "Settings → Keyboard → Application Shortcuts."},
    Advice{"mate",
           "Control Center → Keyboard Shortcuts → Window Management: click the line with %1 and press Backspace."},
    Advice{"x-cinnamon", "System Settings → Keyboard → Shortcuts → Windows: click the line with %1 twice and press "
                         "Backspace."},
    Advice{"gnome",
           "Settings → Keyboard → View and Customise Shortcuts → Windows: click “Activate the window menu” and "
           "press Backspace."},
    Advice{"kde", "System Settings → Shortcuts: search for %1 (KRunner has it) and take it away."},
    Advice{"lxqt", "Preferences → Shortcut Keys, and the line with %1 in ~/.config/openbox/rc.xml."},
    Advice{"xfwm4", "Settings → Window Manager → Keyboard: select the line with %1 and press Clear."},
    Advice{"marco", "Keyboard Shortcuts → Window Management: click the line with %1 and press Backspace."},
    Advice{"mutter", "Run `gsettings set org.gnome.desktop.wm.keybindings activate-window-menu \"[]\"`."},
    Advice{"metacity", "Run `gsettings set org.gnome.desktop.wm.keybindings activate-window-menu \"[]\"`."},
    Advice{"kwin", "System Settings → Shortcuts: search for %1 and take it away."},
    Advice{"openbox",
           "Copy /etc/xdg/openbox/rc.xml to ~/.config/openbox/rc.xml if there is none, remove the keybind of "
           "that key there (Alt+Space is written A-space), and run `openbox --reconfigure`."},
    Advice{"i3", "Remove the bindsym line of that key from ~/.config/i3/config (Alt is written Mod1), and run `i3-msg "
                 "reload`."},
    Advice{"sway", "Remove the bindsym line of that key from ~/.config/sway/config (Alt is written Mod1), and run "
                   "`swaymsg reload`."},
    Advice{"awesome", "Remove the key from ~/.config/awesome/rc.lua, and restart awesome."},
};

const char* const ELSEWHERE =
    "Look for a shortcut on %1 in your desktop's keyboard settings, and in ~/.config/sxhkd/sxhkdrc "
    "or ~/.xbindkeysrc if you use these programs, and take it away.";

} // namespace

QString howToFree(const QString& hotkey, const QString& desktop, const QString& windowManager) {
    QStringList names = desktop.toLower().split(u':');
    names += windowManager.toLower();
    const auto* const found = std::ranges::find_if(ADVICE, [&](const Advice& each) {
        return std::ranges::any_of(names,
                                   [&](const QString& name) { return name.startsWith(QLatin1String(each.name)); });
    });
    const QString text = QString::fromUtf8(found == ADVICE.end() ? ELSEWHERE : found->text).replace(u"%1"_s, hotkey);
    return text + u" Or choose another key for Ovalin: a line such as hotkey=Super+Space in ~/.config/ovalin/config."_s;
}

} // namespace ovalin
