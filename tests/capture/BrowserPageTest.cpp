#include "capture/BrowserPage.h"
#include "capture/SiteOwnership.h"

#include "support/Testing.h"

namespace {

/// A program of the test's own: a shell script.
QString program(const QTemporaryDir& folder, const QByteArray& text) {
    QFile::remove(folder.filePath(u"a program"_s));
    return writeProgram(folder.filePath(u"a program"_s), "#!/bin/sh\n" + text);
}

} // namespace

TEST(BrowserPage, OutputIsReadAsAddressAndTitle) {
    struct Row {
        const char* property;
        int status;
        QByteArray output;
        std::optional<std::pair<QString, QString>> tab;
    };
    const auto tab = [](const char* url, const char* title) {
        return std::optional(std::pair(QString::fromUtf8(url), QString::fromUtf8(title)));
    };
    const QByteArray longTitle(10'000, 't');
    const Row rows[] = {
        {"two lines", 0, "https://a.b/\nTitle\n", tab("https://a.b/", "Title")},
        {"one line", 0, "https://a.b/\n", tab("https://a.b/", "")},
        {"further lines", 0, "u\nt\nmore\n", tab("u", "t")},
        {"a failed run", 1, "https://a.b/\nTitle\n", {}},
        {"nothing", 0, "", {}},
        {"blanks", 0, " \n\n ", {}},
        {"no UTF-8", 0, "https://a.b/\n\xff\n", {}},
        {"half a character", 0, "https://a.b/\xc3", {}},
        {"right to left", 0, "u\nשלום \"x\" 'y'", tab("u", "שלום \"x\" 'y'")},
        {"a long title", 0, "u\n" + longTitle, std::pair(u"u"_s, QString::fromUtf8(longTitle))},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.property);
        const auto found = parseBrowserTab(row.status, row.output);
        ASSERT_EQ(found.has_value(), row.tab.has_value());
        if (found) {
            EXPECT_EQ(found->url, row.tab->first);
            EXPECT_EQ(found->title, row.tab->second);
        }
    }
}

TEST(BrowserPage, TheToolIsAskedOnlyForBrowsersOfTheTable) {
    const QTemporaryDir folder;
    const QString tool = program(folder, "[ \"$1\" = -e ] && printf '%s' \"$2\"");
    const auto asked = [&](const char* bundleId) {
        return browserTabInfoViaOsascript(QString::fromLatin1(bundleId), tool).value_or(BrowserTab{}).url;
    };
    EXPECT_EQ(asked("com.brave.Browser"),
              QStringLiteral(R"(tell application "Brave Browser" to return (URL of active tab )"
                             R"(of front window) & "\n" & (title of active tab of front window))"));
    EXPECT_EQ(asked("com.apple.Safari"),
              QStringLiteral(
                  R"(tell application "Safari" to return (URL of front document) & "\n" & (name of front document))"));
    for (const char* other : {"", "com.google.chrome", "company.thebrowser.Browser", "org.gnome.TextEditor"})
        EXPECT_EQ(asked(other), QString());
    EXPECT_FALSE(browserTabInfoViaOsascript(u"com.apple.Safari"_s, u"/nonexistent/tool"_s));
}

TEST(BrowserPage, AToolThatHangsIsEndedWithItsChildren) {
    const QTemporaryDir folder;
    const QString pids = folder.filePath(u"pids"_s);
    const QString tool = program(folder, "trap '' TERM; sleep 100 & echo $$ $! > '" + pids.toUtf8() + "'; wait; wait");
    EXPECT_FALSE(browserTabInfoViaOsascript(u"com.apple.Safari"_s, tool));
    const QByteArrayList started = readFile(pids).trimmed().split(' ');
    ASSERT_EQ(started.size(), 2);
    for (const QByteArray& pid : started)
        EXPECT_TRUE(ends(pid.toInt()));
}

TEST(SiteOwnership, TheScriptDecidesAndGetsTheAddressWithoutQuotes) {
    const QTemporaryDir folder;
    const QString seen = folder.filePath(u"seen"_s);
    const QString script =
        program(folder, "printf '%s|' \"$#\" \"$@\" > '" + seen.toUtf8() + "'; echo noise; exit $(($3 + 0))");
    EXPECT_TRUE(siteOwned(u"https://a.b/it's?x=$(id)&y=`z`;"_s, script));
    EXPECT_EQ(readFile(seen), "2|--check|https://a.b/its?x=$(id)&y=`z`;|");

    EXPECT_FALSE(siteOwned(u"https://a.b/"_s, program(folder, "exit 3")));
    EXPECT_FALSE(siteOwned(u"https://a.b/"_s, program(folder, "kill -9 $$")));
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner);
    EXPECT_FALSE(siteOwned(u"https://a.b/"_s, script)) << "not executable";
    EXPECT_FALSE(siteOwned(u"https://a.b/"_s, folder.path())) << "a folder";
    EXPECT_FALSE(siteOwned(u"https://a.b/"_s, folder.filePath(u"none"_s)));
}
