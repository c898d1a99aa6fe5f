#include "capture/BrowserPage.h"
#include "capture/SiteOwnership.h"

#include "support/TestDesk.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

/// A program of the test's own: a shell script.
QString program(const QTemporaryDir& folder, const QByteArray& text) {
    QString path = folder.filePath(u"a program"_s);
    QFile::remove(path);
    writeFile(path, "#!/bin/sh\n" + text);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

bool alive(const QByteArray& pid) { return ::kill(pid.toInt(), 0) == 0; }

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

TEST(BrowserPage, OnlyHttpMakesAWebPage) {
    const std::pair<const char*, bool> rows[] = {
        {"http://a.b/", true},
        {"HTTPS://A.B/x y", true},
        {"http://localhost:80/", true},
        {"file:///etc/hosts", false},
        {"about:blank", false},
        {"chrome://newtab", false},
        {"a.b/c", false},
        {"", false},
        {"http://[::1", false},
        {"httpx://a.b", false},
    };
    EXPECT_FALSE(isWebPage(std::nullopt));
    for (const auto& [url, page] : rows)
        EXPECT_EQ(isWebPage(QString::fromLatin1(url)), page) << url;
}

TEST(BrowserPage, LocalHosts) {
    const std::pair<const char*, bool> rows[] = {
        {"LOCALHOST", true}, {"127.0.0.1", true},    {"printer.Local", true}, {"192.168.1.2", true},
        {"10.0.0.1", true},  {"172.99.0.1", true},   {"127.0.0.2", false},    {"localhost.a.b", false},
        {"local", false},    {"192.169.1.2", false}, {"a.10.b", false},       {"", false},
    };
    for (const auto& [host, local] : rows)
        EXPECT_EQ(isLocalHost(QString::fromLatin1(host)), local) << host;
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
    for (const char* known : {"com.google.Chrome", "org.chromium.Chromium", "com.microsoft.edgemac",
                              "com.vivaldi.Vivaldi", "com.operasoftware.Opera", "org.mozilla.firefox"})
        EXPECT_TRUE(asked(known).contains(u"URL of active tab of front window"_s)) << known;
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
        EXPECT_TRUE(waitUntil(
            [&] { return !alive(pid) || readFile(QString::fromUtf8("/proc/" + pid + "/stat")).contains(") Z "); }));
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
