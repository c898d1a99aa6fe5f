#include "BundleIds.h"

#include <QHash>

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

} // namespace ovalin
