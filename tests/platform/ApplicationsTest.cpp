#include "platform/applications/BundleIds.h"
#include "platform/applications/DesktopEntries.h"
#include "support/Testing.h"

namespace {

TEST(BundleIds, KnowsBrowsersByClassOrDesktopFile) {
    const struct {
        const char *instance, *wmClass, *desktopId, *bundle;
    } rows[] = {
        {"google-chrome", "Google-chrome", "", "com.google.Chrome"},
        {"google-chrome (/home/u/profile)", "Google-chrome", "", "com.google.Chrome"},
        {"chromium", "Chromium", "", "org.chromium.Chromium"},
        {"chrome", "Chromium-browser", "", "org.chromium.Chromium"},
        {"Navigator", "firefox-esr", "", "org.mozilla.firefox"},
        {"web", "Web", "org.mozilla.firefox", "org.mozilla.firefox"},
        {"mousepad", "Mousepad", "org.xfce.mousepad", "Mousepad"},
        {"bare", "", "", "bare"},
        {"", "", "", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bundleIdentifier(QString::fromLatin1(row.instance), QString::fromLatin1(row.wmClass),
                                   QString::fromLatin1(row.desktopId)),
                  QString::fromLatin1(row.bundle));
}

TEST(DesktopEntries, AreFoundByClassIdOrProgramAndSpeakTheUsersLanguage) {
    const QTemporaryDir root;
    const auto write = [&](const char* path, const char* text) {
        writeFile(root.filePath(QString::fromLatin1(path)), QByteArray("[Desktop Entry]\nType=Application\n") + text);
    };
    write("user/editor.desktop", "Name=My Editor\nExec=/opt/my/editor %F\n");
    write("system/editor.desktop", "Name=Editor\nExec=editor\n"); // hidden by the user's
    write(
        "system/org.example.Viewer.desktop",
        "Name=Viewer\nName[de]=Betrachter\nName[de_AT]=Schauer\nExec=env A=1 viewer\n[Desktop Action x]\nName=Wrong\n");
    write("system/shop/app.desktop", "Name=Shop\nStartupWMClass=ShopWindow\nExec=\"/usr/bin/shop\" run\n");
    write("system/helper.desktop", "Name=Helper\nNoDisplay=true\nExec=editor --helper\n");
    write("system/gone.desktop", "Name=Gone\nHidden=true\n");
    writeFile(root.filePath(u"system/broken.desktop"_s), QByteArray("\xff\xfe=\n[Desktop", 12));
    const auto read = [&](const char* locale) {
        return DesktopEntries::read({root.filePath(u"user"_s), root.filePath(u"system"_s), root.filePath(u"missing"_s)},
                                    QString::fromLatin1(locale));
    };
    const struct {
        const char *locale, *wmClass, *instance, *program, *name;
    } rows[] = {
        {"C", "Editor", "", "", "My Editor"},
        {"C", "Unknown", "", "editor", "My Editor"},
        {"C", "shopwindow", "", "", "Shop"},
        {"C", "X", "shop-app", "", "Shop"},
        {"C", "org.example.Viewer", "", "", "Viewer"},
        {"de_DE.UTF-8", "viewer", "", "", "Betrachter"},
        {"de_AT.UTF-8@euro", "viewer", "", "", "Schauer"},
        {"fr_FR", "viewer", "", "", "Viewer"},
        {"C", "helper", "", "", "Helper"},
        {"C", "gone", "", "", ""},
        {"C", "", "", "env", ""},
        {"C", "", "", "", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(read(row.locale)
                      .find(QString::fromLatin1(row.wmClass), QString::fromLatin1(row.instance),
                            QString::fromLatin1(row.program))
                      .name,
                  QString::fromLatin1(row.name))
            << row.locale << " " << row.wmClass;
}

} // namespace
