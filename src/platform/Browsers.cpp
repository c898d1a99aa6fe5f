#include "Browsers.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace ovalin {

namespace {

constexpr Browser BROWSERS[] = {
    {"com.google.Chrome", "Google Chrome",
     "google-chrome google-chrome-stable google-chrome-beta google-chrome-unstable com.google.chrome "
     "com.google.chromedev",
     "chrome google-chrome google-chrome-stable", "com.google.Chrome"},
    {"org.chromium.Chromium", "Chromium",
     "chromium chromium-browser chromium-freeworld ungoogled-chromium org.chromium.chromium "
     "io.github.ungoogled_software.ungoogled_chromium",
     "chromium chromium-browser", "org.chromium."},
    {"com.brave.Browser", "Brave Browser",
     "brave-browser brave-browser-beta brave-browser-nightly brave com.brave.browser",
     "brave brave-browser brave-browser-stable", "com.brave."},
    {"com.microsoft.edgemac", "Microsoft Edge",
     "microsoft-edge microsoft-edge-stable microsoft-edge-beta microsoft-edge-dev com.microsoft.edge",
     "msedge microsoft-edge microsoft-edge-stable", "com.microsoft.edgemac"},
    {"com.vivaldi.Vivaldi", "Vivaldi", "vivaldi vivaldi-stable vivaldi-snapshot com.vivaldi.vivaldi",
     "vivaldi-bin vivaldi", "com.vivaldi."},
    {"com.operasoftware.Opera", "Opera", "opera opera-stable opera-beta opera-developer com.opera.opera", "opera",
     "com.operasoftware."},
    {"company.thebrowser.Browser", "", "", "", "company.thebrowser"},
    {"org.mozilla.firefox", "Firefox",
     "firefox firefox-esr firefox-default firefox-beta firefox-nightly firefox-aurora firefoxdeveloperedition "
     "org.mozilla.firefox",
     "firefox firefox-esr firefox-bin", nullptr},
    {"com.apple.Safari", "Safari", "", "safari", nullptr},
};

template <class Predicate>
const Browser* find(Predicate is) {
    const auto found = std::find_if(std::begin(BROWSERS), std::end(BROWSERS), is);
    return found == std::end(BROWSERS) ? nullptr : found;
}

bool lists(const char* words, const QString& word) {
    return QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts).contains(word);
}

} // namespace

const Browser* browserWithBundle(const QString& bundleId) {
    return find([&](const Browser& each) { return bundleId == QLatin1String(each.bundle); });
}

const Browser* browserOfWindow(const QString& name) {
    return find([folded = name.toLower()](const Browser& each) { return lists(each.windows, folded); });
}

const Browser* browserNamed(const QString& application) {
    return find(
        [&](const Browser& each) { return *each.application && application == QLatin1String(each.application); });
}

bool mayRunAs(const Browser& browser, const QString& program) { return lists(browser.programs, program); }

bool inChromiumFamily(const QString& bundleId) {
    return find([&](const Browser& each) { return each.family && bundleId.startsWith(QLatin1String(each.family)); });
}

} // namespace ovalin
