// Real browsers over pages of a server in this process.
#include "Support.h"

#include "base/Dispatch.h"
#include "capture/BrowserPage.h"
#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/x11/windows/FrontWindow.h"
#include "platform/helpers/Tools.h"
#include "support/HttpServer.h"

#include <QUrl>

namespace {

struct Pages : HttpServer {
    Pages() { answers["/favicon.ico"] = "404 Not Found"; }
    QString add(const QString& path, const QString& title, const QString& body = u"text"_s) {
        pages[path.toUtf8()] =
            u"<!doctype html><meta charset=utf-8><title>%1</title><body>%2"_s.arg(title.toHtmlEscaped(), body).toUtf8();
        return url(path);
    }
};

/// Browsers expose themselves only when they find this on at their start.
void turnAccessibilityOn(AtSpiAccessibility& accessibility) {
    bool enabled = false;
    accessibility.enable();
    ASSERT_TRUE(waitUntil([&] {
        bool answered = false;
        accessibility.queryEnabled([&](bool is) {
            answered = true;
            enabled = is;
        });
        return waitUntil([&] { return answered; }) && enabled;
    }));
}

std::optional<BrowserTab> frontTab(const QString& bundleId) {
    const QString tool = Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())).osascript;
    return onWorker([&] { return browserTabInfoViaOsascript(bundleId, tool); });
}

/// Waits until the browser says so; the last answer is in the message otherwise.
testing::AssertionResult shows(const QString& bundleId, const QString& url, const QString& title, double seconds = 40) {
    std::optional<BrowserTab> tab;
    if (waitUntil(
            [&] {
                tab = frontTab(bundleId);
                return tab && tab->url == url && tab->title == title;
            },
            seconds))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "shown: "
                                       << (tab ? tab->url + u'|' + tab->title.left(80) : QString()).toStdString()
                                       << ", not " << url.toStdString();
}

void press(const QString& key) { desk().xdotool({u"key"_s, key}); }

/// The installed one with an executable of another name.
QString chromiumCalled(const QString& name) {
    const QDir installed(u"/usr/lib/chromium"_s);
    const QDir ours(desk().path(u"browser"_s));
    QDir().mkpath(ours.path());
    for (const QString& file : installed.entryList(QDir::AllEntries | QDir::NoDotAndDotDot))
        QFile::link(installed.filePath(file), ours.filePath(file));
    QFile::copy(installed.filePath(u"chromium"_s), ours.filePath(name));
    return ours.filePath(name);
}

/// Titles, and how they are shown.
std::vector<std::pair<QString, QString>> oddTitles() {
    const QString longTitle(10'000, u'x');
    const QString quotes = u"\"q\" 'q' \\ & — 😀"_s, rightToLeft = u"שלום עולם"_s;
    return {{quotes, quotes}, {u"a\nb"_s, u"a b"_s}, {rightToLeft, rightToLeft}, {longTitle, longTitle}};
}

} // namespace

TEST(Browsers, ChromiumTellsItsFrontTab) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, frontTitle, sessionBusAddress(), 3s);
    turnAccessibilityOn(accessibility);
    Pages pages;
    const QString chromium = u"org.chromium.Chromium"_s;
    EXPECT_FALSE(frontTab(chromium)) << "it does not run yet";
    const QString one = pages.add(u"/one"_s, u"Page one"_s, u"<iframe src=/two?a=b></iframe>"_s);
    const QString two = pages.add(u"/two?a=b"_s, u"Page two"_s);
    const QStringList options =
        u"--no-sandbox --disable-gpu --no-first-run --disable-background-networking --disable-component-update "
        "--disable-sync --disable-quic --password-store=basic --force-renderer-accessibility"_s.split(u' ') +
        QStringList{u"--user-data-dir="_s + desk().path(u"chromium"_s)};
    const QString program = chromiumCalled(u"chrome"_s);
    QProcess& browser = desk().start(program, options + QStringList{one, two});
    ASSERT_TRUE(shows(chromium, one, u"Page one"_s)) << desk().log(u"chrome"_s).toStdString();
    press(u"ctrl+Next"_s);
    EXPECT_TRUE(shows(chromium, two, u"Page two"_s));
    QString odd;
    int number = 0;
    for (const auto& [title, shown] : oddTitles()) {
        odd = pages.add(u"/odd%1"_s.arg(++number), title);
        desk().start(program, options + QStringList{odd});
        EXPECT_TRUE(shows(chromium, odd, shown));
    }
    const QString window = pages.add(u"/window"_s, u"Second window"_s);
    desk().start(program, options + QStringList{u"--new-window"_s, window});
    const auto toFront = [](const QString& title) {
        desk().xdotool({u"windowactivate"_s, u"--sync"_s, desk().waitForWindow(title)});
    };
    toFront(u"Second window"_s);
    EXPECT_TRUE(shows(chromium, window, u"Second window"_s));
    toFront(u"xxxxxx"_s);
    EXPECT_TRUE(shows(chromium, odd, QString(10'000, u'x')));

    EXPECT_FALSE(frontTab(u"com.google.Chrome"_s)) << "another browser";
    {
        const Stopped stop(browser);
        EXPECT_FALSE(frontTab(chromium));
    }
    desk().end(browser);
    EXPECT_FALSE(frontTab(chromium));
}

TEST(Browsers, FirefoxTellsItsFrontTabAndItsSelections) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, frontTitle, sessionBusAddress(), 3s);
    turnAccessibilityOn(accessibility);
    Pages pages;
    const QString firefox = u"org.mozilla.firefox"_s;
    const QString one = pages.add(u"/one"_s, u"Page \"one\" שלום"_s, u"<p>First 😀 <a href=x>link</a> end<p>Second"_s);
    const QString two = pages.add(u"/two"_s, u"Page two"_s);
    const QString profile = desk().path(u"firefox"_s);
    writeFile(profile + u"/user.js"_s, "user_pref('browser.aboutwelcome.enabled', false);\n"
                                       "user_pref('datareporting.policy.dataSubmissionEnabled', false);\n"
                                       "user_pref('browser.shell.checkDefaultBrowser', false);\n"
                                       "user_pref('termsofuse.bypassNotification', true);\n");
    QProcess& browser = desk().start(u"firefox-esr"_s, {u"--no-remote"_s, u"--profile"_s, profile, one, two});
    ASSERT_TRUE(shows(firefox, one, u"Page \"one\" שלום"_s)) << desk().log(u"firefox-esr"_s).toStdString();

    desk().xdo(u"mousemove 600 500 click 1"_s);
    AccessibleSelection selection;
    EXPECT_TRUE(waitUntil([&] {
        press(u"ctrl+a"_s);
        selection = onWorker([&] { return accessibility.selection({static_cast<qint32>(browser.processId()), {}}); });
        return selection.text.trimmed() == u"First 😀 link end\nSecond"_s;
    })) << selection.text.toStdString();
    EXPECT_TRUE(selection.page);

    press(u"ctrl+Next"_s);
    EXPECT_TRUE(shows(firefox, two, u"Page two"_s));
    {
        const Stopped stop(browser);
        EXPECT_FALSE(frontTab(firefox));
    }
    desk().end(browser);
}
