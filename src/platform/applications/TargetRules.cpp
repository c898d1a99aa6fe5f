#include "TargetRules.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <optional>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

// Names are WM_CLASS parts and executables, lower case.
const char* const SCREENS =
    "xephyr xnest vncviewer tigervnc xvnc4viewer xtightvncviewer gvncviewer ssvnc vinagre remmina org.remmina.remmina "
    "xfreerdp xfreerdp3 sdl-freerdp rdesktop krdc org.kde.krdc gnome-connections org.gnome.connections virt-viewer "
    "remote-viewer virt-manager gnome-boxes org.gnome.boxes virtualbox virtualboxvm vmware vmplayer vmware-view "
    "spicy looking-glass-client x2goclient nxplayer nxclient anydesk teamviewer rustdesk parsecd moonlight weston "
    "scrcpy xpra dosbox qemu qemu-system-x86_64 qemu-system-i386 qemu-system-aarch64";
const char* const PLAYERS = "mpv io.mpv.mpv mplayer ffplay";
const char* const VIMS = "gvim vim.gtk3 vim.gtk vim.gtk2 vim.athena vim.gnome vim.motif";
const char* const MODAL_EDITORS = "nvim-qt neovide gnvim";
const char* const EMACSES = "emacs emacs-gtk emacs-x emacs-lucid emacs-pgtk";

const char* const CLASSIC_TERMINALS =
    "xterm uxterm koi8rxterm lxterm urxvt urxvtd rxvt rxvt-unicode aterm eterm mrxvt mlterm";
const char* const TERMINALS =
    "st st-256color stterm zutty "
    "konsole org.kde.konsole yakuake org.kde.yakuake gnome-terminal gnome-terminal-server org.gnome.terminal "
    "org.gnome.console kgx ptyxis org.gnome.ptyxis org.gnome.ptyxis.devel xfce4-terminal mate-terminal lxterminal "
    "qterminal deepin-terminal io.elementary.terminal pantheon-terminal cosmic-term com.system76.cosmicterm "
    "kitty alacritty tilix com.gexperts.tilix terminator guake tilda foot footclient foot-extra "
    "wezterm wezterm-gui org.wezfurlong.wezterm cool-retro-term ghostty com.mitchellh.ghostty rio contour "
    "org.contourterminal.contour terminology sakura roxterm termite terminix blackbox com.raggesilver.blackbox hyper "
    "tabby warp dev.warp.warp wave waveterm x-terminal-emulator vte vte-2.91 evilvte lilyterm germinal domterm "
    "extraterm edex-ui tym darktile";

// Editors and file managers with a terminal in a panel; several of them copy the line at the caret when nothing is
// selected, which would pass for a selection.
const char* const KDE_WITH_TERMINAL = "kate org.kde.kate kwrite org.kde.kwrite kdevelop org.kde.kdevelop dolphin "
                                      "org.kde.dolphin";
const char* const EDITORS_WITH_TERMINAL =
    "geany code code-oss codium vscodium code-insiders cursor windsurf qtcreator org.qt-project.qtcreator builder "
    "gnome-builder org.gnome.builder anjuta theia pulsar atom eclipse zed dev.zed.zed lapce sublime_text sublime-text "
    "subl jetbrains-idea jetbrains-idea-ce jetbrains-pycharm jetbrains-pycharm-ce jetbrains-webstorm jetbrains-clion "
    "jetbrains-goland jetbrains-rider jetbrains-phpstorm jetbrains-rubymine jetbrains-datagrip jetbrains-studio";

const char* const TYPED_WITH =
    "ibus-ui-gtk3 ibus-ui-emojier ibus-extension-gtk3 fcitx fcitx5 fcitx-qimpanel uim-candwin-gtk uim-candwin-gtk3 "
    "uim-candwin-qt5 uim-candwin-horizontal-gtk3 uim-candwin-tbl-gtk3 scim-panel-gtk nimf-candidate onboard florence "
    "xvkbd matchbox-keyboard svkbd-mobile-intl kvkbd cellwriter";

const char* const FOCUS_WRITER = "focuswriter gottcode.focuswriter org.gottcode.focuswriter";

// The last is every browser's, and Electron's.
const char* const COMMON_TOOLKITS[] = {"/libgtk-",   "/libgtk4", "/libQt5Gui",   "/libQt6Gui", "/libvcllo",
                                       "/libwx_gtk", "/libfltk", "/libawt_xawt", "/libnss3.so"};
const char* const TERMINAL_LIBRARIES[] = {"/libvte-", "/libkonsole", "/konsolepart", "/libqtermwidget"};
const char* const SCREEN_LIBRARIES[] = {"/libfreerdp", "/libgtk-vnc", "/libgvnc", "/libspice-client", "/libvncclient"};

using Copy = TargetRule::Copy;
using Keys = PasteWay::Keys;
using Before = PasteWay::Before;

struct Row {
    const char* names; // null: whatever its name
    std::optional<FocusKind> focus;
    bool Libraries::*library; // null: whatever it has loaded
    Copy copy;
    Keys keys;
    const char* refusal; // with Keys::None
    Before before = Before::Nothing;
    bool primaryToo = false;
    bool oneLine = false;
};

constexpr std::optional<FocusKind> ANYWHERE;
constexpr bool Libraries::*WHATEVER = nullptr;
constexpr auto NO_SCREEN = "what is in that window belongs to another screen: nothing can be put in there";
constexpr auto NO_TERMINAL = "that terminal takes no keys: nothing can be put in there";

// The first row that fits counts.
const Row ROWS[] = {
    {nullptr, FocusKind::Password, WHATEVER, Copy::None, Keys::None, "nothing is put into a password field"},
    {SCREENS, ANYWHERE, WHATEVER, Copy::None, Keys::None, NO_SCREEN},
    {nullptr, ANYWHERE, &Libraries::screen, Copy::None, Keys::None, NO_SCREEN},
    {PLAYERS, ANYWHERE, WHATEVER, Copy::None, Keys::None, "a player takes no text"},
    {VIMS, ANYWHERE, WHATEVER, Copy::None, Keys::VimServer, nullptr},
    {MODAL_EDITORS, ANYWHERE, WHATEVER, Copy::None, Keys::None, "no key is safe in that editor: nothing was begun"},
    // Ctrl+Insert copies from the mark to the caret there, whatever is highlighted.
    {EMACSES, ANYWHERE, WHATEVER, Copy::None, Keys::ShiftInsert, nullptr, Before::Delete},
    {CLASSIC_TERMINALS, ANYWHERE, WHATEVER, Copy::None, Keys::ShiftInsert, nullptr, Before::Nothing, true, true},
    {KDE_WITH_TERMINAL, FocusKind::Terminal, WHATEVER, Copy::None, Keys::None, NO_TERMINAL},
    {TERMINALS, ANYWHERE, WHATEVER, Copy::None, Keys::CtrlShiftV, nullptr, Before::Nothing, false, true},
    {nullptr, FocusKind::Terminal, WHATEVER, Copy::None, Keys::CtrlShiftV, nullptr, Before::Nothing, false, true},
    {nullptr, FocusKind::ReadOnly, WHATEVER, Copy::CtrlInsert, Keys::None, "that text is read-only"},
    {nullptr, FocusKind::NoText, WHATEVER, Copy::CtrlInsert, Keys::None, "there is no text field to put it into"},
    // In a terminal Shift+Insert would paste the user's own highlight, and Ctrl+V does nothing.
    {KDE_WITH_TERMINAL, FocusKind::Unknown, WHATEVER, Copy::None, Keys::CtrlV, nullptr},
    {EDITORS_WITH_TERMINAL, FocusKind::Unknown, WHATEVER, Copy::None, Keys::CtrlV, nullptr},
    {nullptr, FocusKind::Unknown, &Libraries::terminal, Copy::None, Keys::CtrlV, nullptr},
    {KDE_WITH_TERMINAL, ANYWHERE, WHATEVER, Copy::None, Keys::ShiftInsert, nullptr},
    {EDITORS_WITH_TERMINAL, ANYWHERE, WHATEVER, Copy::None, Keys::ShiftInsert, nullptr},
    {FOCUS_WRITER, ANYWHERE, WHATEVER, Copy::CtrlC, Keys::CtrlV, nullptr},
    {nullptr, ANYWHERE, &Libraries::tk, Copy::CtrlInsert, Keys::ShiftInsert, nullptr, Before::BackSpace},
    {nullptr, FocusKind::Editable, WHATEVER, Copy::CtrlInsert, Keys::ShiftInsert, nullptr},
    {nullptr, ANYWHERE, &Libraries::toolkit, Copy::CtrlInsert, Keys::ShiftInsert, nullptr},
    // Nothing is known of it, so it may be a terminal.
    {nullptr, ANYWHERE, WHATEVER, Copy::None, Keys::ShiftInsert, nullptr, Before::Nothing, true, true},
};

QStringList words(const char* list) { return QString::fromLatin1(list).split(QLatin1Char(' ')); }

bool fits(const Row& row, const TargetFacts& facts) {
    if ((row.focus && *row.focus != facts.focus) || (row.library && !(facts.libraries.*row.library)))
        return false;
    if (!row.names)
        return true;
    const QStringList listed = words(row.names);
    return std::ranges::any_of(facts.names, [&](const QString& name) { return listed.contains(name.toLower()); });
}

template <size_t N>
bool anyIn(const QByteArray& maps, const char* const (&names)[N]) {
    return std::ranges::any_of(names, [&](const char* name) { return maps.contains(name); });
}

} // namespace

bool isVim(const QString& executable) { return words(VIMS).contains(executable.toLower()); }

bool isTerminal(const QString& name) {
    static const QStringList names = words(CLASSIC_TERMINALS) + words(TERMINALS);
    return names.contains(name.toLower());
}

bool isTypedWith(const QString& name) {
    static const QStringList names = words(TYPED_WITH);
    return names.contains(name.toLower());
}

Libraries librariesIn(const QByteArray& maps) {
    return {anyIn(maps, COMMON_TOOLKITS), maps.contains("/libtk8") || maps.contains("/libtcl9tk"),
            anyIn(maps, TERMINAL_LIBRARIES), anyIn(maps, SCREEN_LIBRARIES)};
}

TargetFacts targetFacts(const QStringList& windowNames, qint32 pid, FocusKind focus) {
    const QString process = u"/proc/%1/"_s.arg(pid);
    QFile maps(process + u"maps"_s);
    const bool readable = pid > 0 && maps.open(QIODevice::ReadOnly);
    const QString program = pid > 0 ? QFileInfo(QFile::symLinkTarget(process + u"exe"_s)).fileName() : QString();
    return {windowNames + QStringList{program}, readable ? librariesIn(maps.readAll()) : Libraries{}, focus};
}

TargetRule targetRule(const TargetFacts& facts) {
    const Row& row = *std::ranges::find_if(ROWS, [&](const Row& each) { return fits(each, facts); });
    return {
        row.copy,
        {row.keys, row.before, row.primaryToo, row.oneLine, false, QString::fromUtf8(row.refusal ? row.refusal : "")}};
}

} // namespace ovalin
