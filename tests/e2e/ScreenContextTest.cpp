// What the user looks at reaches the request: the page of a real browser, or a picture of the window.
#include "e2e/OvalinDesk.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

// Writes a line for each request, so that a second delivery of the same one shows.
const QByteArray COUNTING_ROUTER = "#!/bin/sh\necho \"$1\" >> \"$HOME/routed\"\n";
const QRgb PAGE_COLOUR = qRgb(32, 80, 192);

/// A desktop with a web server and browsers that expose their pages.
class BrowserDesk {
public:
    BrowserDesk() {
        desk.installScript(u".claude/bin/capture-router.sh"_s, COUNTING_ROUTER);
        // Browsers look for this once, at their start.
        desk.output(u"gdbus"_s, {u"call"_s, u"--session"_s, u"--dest"_s, u"org.a11y.Bus"_s, u"--object-path"_s,
                                 u"/org/a11y/bus"_s, u"--method"_s, u"org.freedesktop.DBus.Properties.Set"_s,
                                 u"org.a11y.Status"_s, u"IsEnabled"_s, u"<true>"_s});
        QDir().mkpath(desk.path(u"www"_s));
        desk.start(u"python3"_s, {u"-u"_s, u"-m"_s, u"http.server"_s, u"0"_s, u"--bind"_s, u"127.0.0.1"_s,
                                  u"--directory"_s, desk.path(u"www"_s)});
        const auto portSaid = [this] {
            port = desk.TestDesk::log(u"python3"_s).section(u" port "_s, 1).section(u' ', 0, 0);
            return !port.isEmpty();
        };
        EXPECT_TRUE(waitUntil(portSaid)) << desk.TestDesk::log(u"python3"_s).toStdString();
    }

    /// Puts a page of one colour there; the path begins with a slash.
    void serve(const QString& path, const QString& title) const {
        writeFile(desk.path(u"www"_s + path),
                  u"<!doctype html><meta charset=utf-8><title>%1</title><body style='background:#2050c0'>"_s
                      .arg(title.toHtmlEscaped())
                      .toUtf8());
    }
    [[nodiscard]] QString url(const QString& host, const QString& path) const {
        return u"http://%1:%2%3"_s.arg(host, port, path);
    }

    QProcess& startChromium(const QString& address) {
        return desk.start(
            u"chromium"_s,
            {u"--no-sandbox"_s, u"--disable-gpu"_s, u"--no-first-run"_s, u"--disable-background-networking"_s,
             u"--disable-component-update"_s, u"--disable-sync"_s, u"--disable-features=HttpsUpgrades"_s,
             u"--password-store=basic"_s, u"--host-resolver-rules=MAP example.test 127.0.0.1"_s,
             u"--user-data-dir="_s + desk.path(u"chromium"_s), u"--force-renderer-accessibility"_s, address});
    }
    QProcess& startFirefox(const QString& address) {
        const QString profile = desk.path(u"firefox"_s);
        writeFile(profile + u"/user.js"_s, "user_pref('browser.aboutwelcome.enabled', false);\n"
                                           "user_pref('datareporting.policy.dataSubmissionEnabled', false);\n"
                                           "user_pref('browser.shell.checkDefaultBrowser', false);\n"
                                           "user_pref('termsofuse.bypassNotification', true);\n");
        return desk.start(u"firefox-esr"_s, {u"--no-remote"_s, u"--profile"_s, profile, address});
    }

    /// Waits until the browser tells this page to whom it concerns: before that, no program could know it.
    [[nodiscard]] testing::AssertionResult shows(const QString& application, const QString& address,
                                                 const QString& title) const {
        const QString tool = QFileInfo(QStringLiteral(OVALIN_BINARY)).path() + u"/libexec/osascript"_s;
        const QString script =
            QStringLiteral(R"(tell application "%1" to return (URL of active tab of front window) & "\n" & )"
                           R"((title of active tab of front window))")
                .arg(application);
        QString said;
        if (waitUntil(
                [&] {
                    said = desk.output(tool, {u"-e"_s, script});
                    return said == address + QLatin1Char('\n') + title;
                },
                40))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "shown: " << said.toStdString() << ", not " << address.toStdString();
    }

    /// Opens the panel over what is in front, gives it a moment to look, and submits.
    [[nodiscard]] QJsonObject submit(const QString& prompt) const {
        desk.pressHotkey();
        EXPECT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        waitUntil([] { return false; }, 1.5);
        desk.keepPicture(prompt);
        desk.type(prompt);
        desk.pressKey(u"Return"_s);
        EXPECT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        return desk.waitForRequestWith(prompt);
    }

    OvalinDesk desk;

private:
    QString port;
};

QString text(const QJsonObject& request, const char* key) { return request.value(QLatin1String(key)).toString(); }

/// The share of the lower three quarters, where the page is and the browser's own bars are not, that has its colour.
double shareOfPage(const QImage& image) {
    int all = 0, same = 0;
    for (int y = image.height() / 4; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3, ++all)
            same += (image.pixel(x, y) & 0xffffff) == (PAGE_COLOUR & 0xffffff);
    }
    return all ? double(same) / all : 0;
}

} // namespace

TEST(ScreenContext, AChromiumPageIsNamedAndALocalOnePictured) {
    BrowserDesk web;
    web.desk.startOvalin();
    const QString local = u"127.0.0.1"_s, remote = u"example.test"_s;
    struct Row {
        QString host, path, title, shown;
    };
    const QString quotes = u"\"q\" 'q' \\ & $(id) — 😀"_s, hebrew = u"שלום עולם"_s;
    int number = 0;
    for (const Row& row :
         {Row{local, u"/quotes.html"_s, quotes, quotes}, Row{local, u"/rtl.html"_s, hebrew, hebrew},
          Row{local, u"/lines.html"_s, u"a\nb"_s, u"a b"_s}, Row{remote, u"/far.html?q=1"_s, u"Far"_s, u"Far"_s}}) {
        SCOPED_TRACE(row.path.toStdString());
        web.serve(row.path.section(QLatin1Char('?'), 0, 0), row.title);
        const QString address = web.url(row.host, row.path);
        web.startChromium(address);
        ASSERT_TRUE(web.shows(u"Chromium"_s, address, row.shown))
            << web.desk.TestDesk::log(u"chromium"_s).toStdString();
        web.desk.xdotool({u"mousemove"_s, u"640"_s, u"400"_s});

        const QJsonObject request = web.submit(u"page %1"_s.arg(++number));
        EXPECT_EQ(text(request, "source_url"), address) << web.desk.log().toStdString();
        EXPECT_EQ(text(request, "source_title"), row.shown);
        EXPECT_EQ(text(request, "source_bundle"), u"org.chromium.Chromium"_s);
        if (row.host == remote) {
            EXPECT_EQ(text(request, "context_mode"), u"fetch"_s);
            EXPECT_FALSE(request.contains(u"screenshot"_s));
            continue;
        }
        EXPECT_EQ(text(request, "context_mode"), u"screenshot"_s);
        const QImage picture(text(request, "screenshot"));
        EXPECT_GE(picture.width(), 300) << web.desk.log().toStdString();
        EXPECT_GT(shareOfPage(picture), 0.97) << "the page fills the picture, and no panel covers it";
        EXPECT_NE(picture.pixel(picture.width() / 2, 8) & 0xffffff, PAGE_COLOUR & 0xffffff) << "with the window's bars";
    }
}

TEST(ScreenContext, AFirefoxPageIsNamed) {
    BrowserDesk web;
    web.desk.startOvalin();
    const QString title = u"Page \"one\" שלום"_s;
    web.serve(u"/one.html"_s, title);
    const QString address = web.url(u"127.0.0.1"_s, u"/one.html"_s);
    web.startFirefox(address);
    ASSERT_TRUE(web.shows(u"Firefox"_s, address, title)) << web.desk.TestDesk::log(u"firefox-esr"_s).toStdString();
    const QJsonObject request = web.submit(u"fox"_s);
    EXPECT_EQ(text(request, "source_url"), address) << web.desk.log().toStdString();
    EXPECT_EQ(text(request, "source_title"), title);
    EXPECT_EQ(text(request, "source_bundle"), u"org.mozilla.firefox"_s);
    EXPECT_GE(QImage(text(request, "screenshot")).width(), 300);
}

TEST(ScreenContext, AStoppedBrowserHoldsUpNothing) {
    BrowserDesk web;
    web.desk.startOvalin();
    web.serve(u"/one.html"_s, u"One"_s);
    const QString address = web.url(u"127.0.0.1"_s, u"/one.html"_s);
    QProcess& browser = web.startChromium(address);
    ASSERT_TRUE(web.shows(u"Chromium"_s, address, u"One"_s));
    const auto group = static_cast<pid_t>(browser.processId());
    ASSERT_EQ(::kill(-group, SIGSTOP), 0);

    web.desk.pressHotkey();
    EXPECT_TRUE(web.desk.waitForPanel(true, 2)) << web.desk.log().toStdString();
    web.desk.type(u"stopped"_s);
    web.desk.pressKey(u"Return"_s);
    EXPECT_TRUE(web.desk.waitForPanel(false, 2)) << web.desk.log().toStdString();
    const QJsonObject request = web.desk.waitForRequestWith(u"stopped"_s, 6);
    EXPECT_EQ(text(request, "prompt"), u"stopped"_s) << web.desk.log().toStdString();
    EXPECT_FALSE(request.contains(u"source_url"_s));
    EXPECT_FALSE(request.contains(u"source_title"_s));
    // The panel still opens and closes while the first look is not over.
    web.desk.pressHotkey();
    EXPECT_TRUE(web.desk.waitForPanel(true, 2)) << web.desk.log().toStdString();
    web.desk.pressKey(u"Escape"_s);
    EXPECT_TRUE(web.desk.waitForPanel(false, 2));

    ::kill(-group, SIGCONT);
    ASSERT_TRUE(web.shows(u"Chromium"_s, address, u"One"_s));
    EXPECT_EQ(text(web.submit(u"awake"_s), "source_url"), address) << web.desk.log().toStdString();
}

TEST(ScreenContext, ARequestQuickerThanItsPictureGetsItOnceOrGoesWithoutIt) {
    struct Row {
        const char* delay; ///< of the screenshot, in seconds; a request waits 1.2 for it
        bool pictured;
    };
    for (const Row& row : {Row{"0.4", true}, Row{"2.5", false}}) {
        SCOPED_TRACE(row.delay);
        OvalinDesk desk;
        desk.installScript(u".claude/bin/capture-router.sh"_s, COUNTING_ROUTER);
        desk.startOvalinWith(u"screencapture"_s,
                             QByteArray("#!/bin/sh\nsleep ") + row.delay +
                                 "\n\"$TOOLS/screencapture\" \"$@\" 2>> \"$HOME/shot.err\"\ntouch \"$HOME/shot\"\n");
        desk.openEditor("text on the screen\n");
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        desk.xdotool({u"key"_s, u"--delay"_s, u"0"_s, u"n"_s, u"o"_s, u"w"_s, u"Return"_s});
        ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        const QJsonObject request = desk.waitForRequest();
        EXPECT_EQ(text(request, "prompt"), u"now"_s) << desk.log().toStdString();
        EXPECT_EQ(text(request, "context_mode"), u"screenshot"_s);
        const QString picture = text(request, "screenshot");
        EXPECT_EQ(!picture.isEmpty() && QImage(picture).width() >= 300, row.pictured)
            << desk.log().toStdString() << readFile(desk.path(u"shot.err"_s)).toStdString();
        EXPECT_EQ(request.contains(u"screenshot"_s), row.pictured);
        // Neither the deadline after the picture nor the picture after the deadline sends it a second time.
        EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(desk.path(u"shot"_s)); }));
        waitUntil([] { return false; }, 1.0);
        const QDir queue(desk.systemDir() + u"/capture-queue"_s);
        EXPECT_EQ(queue.entryList({u"*.png"_s}, QDir::Files).size(), row.pictured ? 1 : 0);
        EXPECT_EQ(desk.requests().size(), 1U);
        EXPECT_EQ(readFile(desk.path(u"routed"_s)).count('\n'), 1) << "routed once";
    }
}

TEST(ScreenContext, TheTextOnTheScreenIsReadAndIsNotNeeded) {
    for (const bool installed : {true, false}) {
        SCOPED_TRACE(installed ? "with the recogniser" : "without it");
        OvalinDesk desk;
        desk.installScript(u".claude/bin/capture-router.sh"_s, COUNTING_ROUTER);
        desk.startOvalinWith(u"ocr"_s, installed
                                           ? QByteArray("#!/bin/sh\n\"$TOOLS/ocr\" \"$@\"; touch \"$HOME/read\"\n")
                                           : QByteArray());
        desk.openEditor(QByteArray("Sphinx of black quartz judge my vow\n").repeated(5));
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        if (installed) // a request waits for the picture, but not for what it says
            EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(desk.path(u"read"_s)); }, 30));
        else
            EXPECT_TRUE(desk.waitForLog(u"Ovalin: no text from the screenshot"_s)) << desk.log().toStdString();
        waitUntil([] { return false; }, 0.5);
        desk.type(u"read"_s);
        desk.pressKey(u"Return"_s);
        const QJsonObject request = desk.waitForRequest();
        EXPECT_EQ(text(request, "screen_text").contains(u"black quartz"_s), installed)
            << text(request, "screen_text").toStdString() << desk.log().toStdString();
        EXPECT_EQ(request.contains(u"screen_text"_s), installed);
        EXPECT_GE(QImage(text(request, "screenshot")).width(), 300);
    }
}
