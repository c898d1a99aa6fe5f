// What the user looks at reaches the request: the page of a real browser, or a picture of the window.
#include "e2e/OvalinDesk.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>

using namespace ovalin;

namespace {

// Writes a line for each request, so that a second delivery of the same one shows.
const QByteArray COUNTING_ROUTER = "#!/bin/sh\necho \"$1\" >> \"$HOME/routed\"\n";
const QRgb PAGE_COLOUR = qRgb(32, 80, 192);

/// A desktop with a web server and browsers that expose their pages.
class BrowserDesk {
public:
    BrowserDesk() {
        desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), COUNTING_ROUTER);
        // Browsers look for this once, at their start.
        desk.output(QStringLiteral("gdbus"),
                    {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                     QStringLiteral("org.a11y.Bus"), QStringLiteral("--object-path"), QStringLiteral("/org/a11y/bus"),
                     QStringLiteral("--method"), QStringLiteral("org.freedesktop.DBus.Properties.Set"),
                     QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"), QStringLiteral("<true>")});
        QDir().mkpath(desk.path(QStringLiteral("www")));
        desk.start(QStringLiteral("python3"),
                   {QStringLiteral("-u"), QStringLiteral("-m"), QStringLiteral("http.server"), QStringLiteral("0"),
                    QStringLiteral("--bind"), QStringLiteral("127.0.0.1"), QStringLiteral("--directory"),
                    desk.path(QStringLiteral("www"))});
        const auto portSaid = [this] {
            port =
                desk.TestDesk::log(QStringLiteral("python3")).section(QStringLiteral(" port "), 1).section(u' ', 0, 0);
            return !port.isEmpty();
        };
        EXPECT_TRUE(waitUntil(portSaid)) << desk.TestDesk::log(QStringLiteral("python3")).toStdString();
    }

    /// Puts a page of one colour there; the path begins with a slash.
    void serve(const QString& path, const QString& title) const {
        writeFile(
            desk.path(QStringLiteral("www") + path),
            QStringLiteral("<!doctype html><meta charset=utf-8><title>%1</title><body style='background:#2050c0'>")
                .arg(title.toHtmlEscaped())
                .toUtf8());
    }
    [[nodiscard]] QString url(const QString& host, const QString& path) const {
        return QStringLiteral("http://%1:%2%3").arg(host, port, path);
    }

    QProcess& startChromium(const QString& address) {
        return desk.start(QStringLiteral("chromium"),
                          {QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
                           QStringLiteral("--no-first-run"), QStringLiteral("--disable-background-networking"),
                           QStringLiteral("--disable-component-update"), QStringLiteral("--disable-sync"),
                           QStringLiteral("--disable-features=HttpsUpgrades"), QStringLiteral("--password-store=basic"),
                           QStringLiteral("--host-resolver-rules=MAP example.test 127.0.0.1"),
                           QStringLiteral("--user-data-dir=") + desk.path(QStringLiteral("chromium")),
                           QStringLiteral("--force-renderer-accessibility"), address});
    }
    QProcess& startFirefox(const QString& address) {
        const QString profile = desk.path(QStringLiteral("firefox"));
        writeFile(profile + QStringLiteral("/user.js"),
                  "user_pref('browser.aboutwelcome.enabled', false);\n"
                  "user_pref('datareporting.policy.dataSubmissionEnabled', false);\n"
                  "user_pref('browser.shell.checkDefaultBrowser', false);\n"
                  "user_pref('termsofuse.bypassNotification', true);\n");
        return desk.start(QStringLiteral("firefox-esr"),
                          {QStringLiteral("--no-remote"), QStringLiteral("--profile"), profile, address});
    }

    /// Waits until the browser tells this page to whom it concerns: before that, no program could know it.
    [[nodiscard]] testing::AssertionResult shows(const QString& application, const QString& address,
                                                 const QString& title) const {
        const QString tool = QFileInfo(QStringLiteral(OVALIN_BINARY)).path() + QStringLiteral("/libexec/osascript");
        const QString script =
            QStringLiteral(R"(tell application "%1" to return (URL of active tab of front window) & "\n" & )"
                           R"((title of active tab of front window))")
                .arg(application);
        QString said;
        if (waitUntil(
                [&] {
                    said = desk.output(tool, {QStringLiteral("-e"), script});
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
        desk.pressKey(QStringLiteral("Return"));
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
    const QString local = QStringLiteral("127.0.0.1"), remote = QStringLiteral("example.test");
    struct Row {
        QString host, path, title, shown;
    };
    const QString quotes = QStringLiteral("\"q\" 'q' \\ & $(id) — 😀"), hebrew = QStringLiteral("שלום עולם");
    int number = 0;
    for (const Row& row :
         {Row{local, QStringLiteral("/quotes.html"), quotes, quotes},
          Row{local, QStringLiteral("/rtl.html"), hebrew, hebrew},
          Row{local, QStringLiteral("/lines.html"), QStringLiteral("a\nb"), QStringLiteral("a b")},
          Row{remote, QStringLiteral("/far.html?q=1"), QStringLiteral("Far"), QStringLiteral("Far")}}) {
        SCOPED_TRACE(row.path.toStdString());
        web.serve(row.path.section(QLatin1Char('?'), 0, 0), row.title);
        const QString address = web.url(row.host, row.path);
        web.startChromium(address);
        ASSERT_TRUE(web.shows(QStringLiteral("Chromium"), address, row.shown))
            << web.desk.TestDesk::log(QStringLiteral("chromium")).toStdString();
        web.desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("640"), QStringLiteral("400")});

        const QJsonObject request = web.submit(QStringLiteral("page %1").arg(++number));
        EXPECT_EQ(text(request, "source_url"), address) << web.desk.log().toStdString();
        EXPECT_EQ(text(request, "source_title"), row.shown);
        EXPECT_EQ(text(request, "source_bundle"), QStringLiteral("org.chromium.Chromium"));
        if (row.host == remote) {
            EXPECT_EQ(text(request, "context_mode"), QStringLiteral("fetch"));
            EXPECT_FALSE(request.contains(QStringLiteral("screenshot")));
            continue;
        }
        EXPECT_EQ(text(request, "context_mode"), QStringLiteral("screenshot"));
        const QImage picture(text(request, "screenshot"));
        EXPECT_GE(picture.width(), 300) << web.desk.log().toStdString();
        EXPECT_GT(shareOfPage(picture), 0.97) << "the page fills the picture, and no panel covers it";
        EXPECT_NE(picture.pixel(picture.width() / 2, 8) & 0xffffff, PAGE_COLOUR & 0xffffff) << "with the window's bars";
    }
}

TEST(ScreenContext, AFirefoxPageIsNamed) {
    BrowserDesk web;
    web.desk.startOvalin();
    const QString title = QStringLiteral("Page \"one\" שלום");
    web.serve(QStringLiteral("/one.html"), title);
    const QString address = web.url(QStringLiteral("127.0.0.1"), QStringLiteral("/one.html"));
    web.startFirefox(address);
    ASSERT_TRUE(web.shows(QStringLiteral("Firefox"), address, title))
        << web.desk.TestDesk::log(QStringLiteral("firefox-esr")).toStdString();
    const QJsonObject request = web.submit(QStringLiteral("fox"));
    EXPECT_EQ(text(request, "source_url"), address) << web.desk.log().toStdString();
    EXPECT_EQ(text(request, "source_title"), title);
    EXPECT_EQ(text(request, "source_bundle"), QStringLiteral("org.mozilla.firefox"));
    EXPECT_GE(QImage(text(request, "screenshot")).width(), 300);
}

TEST(ScreenContext, AStoppedBrowserHoldsUpNothing) {
    BrowserDesk web;
    web.desk.startOvalin();
    web.serve(QStringLiteral("/one.html"), QStringLiteral("One"));
    const QString address = web.url(QStringLiteral("127.0.0.1"), QStringLiteral("/one.html"));
    QProcess& browser = web.startChromium(address);
    ASSERT_TRUE(web.shows(QStringLiteral("Chromium"), address, QStringLiteral("One")));
    const auto group = static_cast<pid_t>(browser.processId());
    ASSERT_EQ(::kill(-group, SIGSTOP), 0);

    web.desk.pressHotkey();
    EXPECT_TRUE(web.desk.waitForPanel(true, 2)) << web.desk.log().toStdString();
    web.desk.type(QStringLiteral("stopped"));
    web.desk.pressKey(QStringLiteral("Return"));
    EXPECT_TRUE(web.desk.waitForPanel(false, 2)) << web.desk.log().toStdString();
    const QJsonObject request = web.desk.waitForRequestWith(QStringLiteral("stopped"), 6);
    EXPECT_EQ(text(request, "prompt"), QStringLiteral("stopped")) << web.desk.log().toStdString();
    EXPECT_FALSE(request.contains(QStringLiteral("source_url")));
    EXPECT_FALSE(request.contains(QStringLiteral("source_title")));
    // The panel still opens and closes while the first look is not over.
    web.desk.pressHotkey();
    EXPECT_TRUE(web.desk.waitForPanel(true, 2)) << web.desk.log().toStdString();
    web.desk.pressKey(QStringLiteral("Escape"));
    EXPECT_TRUE(web.desk.waitForPanel(false, 2));

    ::kill(-group, SIGCONT);
    ASSERT_TRUE(web.shows(QStringLiteral("Chromium"), address, QStringLiteral("One")));
    EXPECT_EQ(text(web.submit(QStringLiteral("awake")), "source_url"), address) << web.desk.log().toStdString();
}

TEST(ScreenContext, ARequestQuickerThanItsPictureGetsItOnceOrGoesWithoutIt) {
    struct Row {
        const char* delay; ///< of the screenshot, in seconds; a request waits 1.2 for it
        bool pictured;
    };
    for (const Row& row : {Row{"0.4", true}, Row{"2.5", false}}) {
        SCOPED_TRACE(row.delay);
        OvalinDesk desk;
        desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), COUNTING_ROUTER);
        desk.startOvalinWith(QStringLiteral("screencapture"),
                             QByteArray("#!/bin/sh\nsleep ") + row.delay +
                                 "\n\"$TOOLS/screencapture\" \"$@\" 2>> \"$HOME/shot.err\"\ntouch \"$HOME/shot\"\n");
        desk.openEditor("text on the screen\n");
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        desk.xdotool({QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("0"), QStringLiteral("n"),
                      QStringLiteral("o"), QStringLiteral("w"), QStringLiteral("Return")});
        ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        const QJsonObject request = desk.waitForRequest();
        EXPECT_EQ(text(request, "prompt"), QStringLiteral("now")) << desk.log().toStdString();
        EXPECT_EQ(text(request, "context_mode"), QStringLiteral("screenshot"));
        const QString picture = text(request, "screenshot");
        EXPECT_EQ(!picture.isEmpty() && QImage(picture).width() >= 300, row.pictured)
            << desk.log().toStdString() << readFile(desk.path(QStringLiteral("shot.err"))).toStdString();
        EXPECT_EQ(request.contains(QStringLiteral("screenshot")), row.pictured);
        // Neither the deadline after the picture nor the picture after the deadline sends it a second time.
        EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(desk.path(QStringLiteral("shot"))); }));
        waitUntil([] { return false; }, 1.0);
        const QDir queue(desk.systemDir() + QStringLiteral("/capture-queue"));
        EXPECT_EQ(queue.entryList({QStringLiteral("*.png")}, QDir::Files).size(), row.pictured ? 1 : 0);
        EXPECT_EQ(desk.requests().size(), 1U);
        EXPECT_EQ(readFile(desk.path(QStringLiteral("routed"))).count('\n'), 1) << "routed once";
    }
}

TEST(ScreenContext, TheTextOnTheScreenIsReadAndIsNotNeeded) {
    for (const bool installed : {true, false}) {
        SCOPED_TRACE(installed ? "with the recogniser" : "without it");
        OvalinDesk desk;
        desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), COUNTING_ROUTER);
        desk.startOvalinWith(QStringLiteral("ocr"),
                             installed ? QByteArray("#!/bin/sh\n\"$TOOLS/ocr\" \"$@\"; touch \"$HOME/read\"\n")
                                       : QByteArray());
        desk.openEditor(QByteArray("Sphinx of black quartz judge my vow\n").repeated(5));
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        if (installed) // a request waits for the picture, but not for what it says
            EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(desk.path(QStringLiteral("read"))); }, 30));
        else
            EXPECT_TRUE(desk.waitForLog(QStringLiteral("Ovalin: no text from the screenshot")))
                << desk.log().toStdString();
        waitUntil([] { return false; }, 0.5);
        desk.type(QStringLiteral("read"));
        desk.pressKey(QStringLiteral("Return"));
        const QJsonObject request = desk.waitForRequest();
        EXPECT_EQ(text(request, "screen_text").contains(QStringLiteral("black quartz")), installed)
            << text(request, "screen_text").toStdString() << desk.log().toStdString();
        EXPECT_EQ(request.contains(QStringLiteral("screen_text")), installed);
        EXPECT_GE(QImage(text(request, "screenshot")).width(), 300);
    }
}
