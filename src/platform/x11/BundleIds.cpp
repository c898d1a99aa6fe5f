#include "BundleIds.h"

#include <QHash>
#include <QSet>

namespace ovalin {

namespace {

struct Browser {
    const char* bundle;
    const char* names; // WM_CLASS classes and desktop files, lower case
};

const Browser BROWSERS[] = {
    {"com.google.Chrome", "google-chrome google-chrome-stable google-chrome-beta google-chrome-unstable "
                          "com.google.chrome com.google.chromedev"},
    {"org.chromium.Chromium", "chromium chromium-browser chromium-freeworld org.chromium.chromium"},
    {"com.brave.Browser", "brave-browser brave-browser-beta brave-browser-nightly brave com.brave.browser"},
    {"com.microsoft.edgemac", "microsoft-edge microsoft-edge-stable microsoft-edge-beta microsoft-edge-dev "
                              "com.microsoft.edge"},
    {"com.vivaldi.Vivaldi", "vivaldi vivaldi-stable vivaldi-snapshot com.vivaldi.vivaldi"},
    {"com.operasoftware.Opera", "opera opera-stable opera-beta opera-developer com.opera.opera"},
    {"org.mozilla.firefox", "firefox firefox-esr firefox-default firefox-beta firefox-nightly firefox-aurora "
                            "firefoxdeveloperedition org.mozilla.firefox"},
};

const char* const TERMINALS =
    "xterm uxterm koi8rxterm lxterm urxvt urxvtd rxvt rxvt-unicode aterm eterm mlterm mrxvt st st-256color stterm "
    "zutty "
    "konsole org.kde.konsole yakuake org.kde.yakuake gnome-terminal gnome-terminal-server org.gnome.terminal "
    "org.gnome.console kgx ptyxis org.gnome.ptyxis org.gnome.ptyxis.devel xfce4-terminal mate-terminal lxterminal "
    "qterminal deepin-terminal io.elementary.terminal pantheon-terminal cosmic-term com.system76.cosmicterm "
    "kitty alacritty tilix com.gexperts.tilix terminator guake tilda foot footclient foot-extra "
    "wezterm wezterm-gui org.wezfurlong.wezterm cool-retro-term ghostty com.mitchellh.ghostty rio contour "
    "org.contourterminal.contour terminology sakura roxterm termite terminix blackbox com.raggesilver.blackbox hyper "
    "tabby warp dev.warp.warp wave waveterm x-terminal-emulator vte vte-2.91 evilvte lilyterm germinal domterm "
    "extraterm edex-ui tym darktile";

const char* const CLASSIC_TERMINALS = "xterm uxterm koi8rxterm lxterm urxvt urxvtd rxvt rxvt-unicode aterm eterm mrxvt "
                                      "mlterm";

QSet<QString> wordsOf(const char* list) {
    const QStringList names = QString::fromLatin1(list).split(QLatin1Char(' '));
    return {names.cbegin(), names.cend()};
}

QHash<QString, QString> browserTable() {
    QHash<QString, QString> table;
    for (const Browser& browser : BROWSERS) {
        for (const QString& name : QString::fromLatin1(browser.names).split(QLatin1Char(' ')))
            table.insert(name, QString::fromLatin1(browser.bundle));
    }
    return table;
}

} // namespace

QString bundleIdentifier(const QString& instance, const QString& wmClass, const QString& desktopId) {
    static const QHash<QString, QString> table = browserTable();
    // The class first: Chromium puts the path of a profile into the instance.
    for (const QString& name : {wmClass, desktopId, instance}) {
        const auto known = table.constFind(name.toLower());
        if (known != table.cend())
            return *known;
    }
    return wmClass.isEmpty() ? instance : wmClass;
}

bool isTerminal(const QString& wmClass) {
    static const QSet<QString> table = wordsOf(TERMINALS);
    return table.contains(wmClass.toLower());
}

bool isClassicTerminal(const QString& wmClass) {
    static const QSet<QString> table = wordsOf(CLASSIC_TERMINALS);
    return table.contains(wmClass.toLower());
}

} // namespace ovalin
