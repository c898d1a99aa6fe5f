// What the user looks at reaches the request: the page of a real browser, or a picture of the window.
#include "e2e/BrowserDesk.h"

#include <QImage>

namespace {

const QRgb PAGE_COLOUR = qRgb(32, 80, 192);

/// Waits until the browser tells this page to whom it concerns: before that, no program could know it.
testing::AssertionResult shows(const BrowserDesk& desk, const QString& address, const QString& title) {
    const QString tool = QFileInfo(QStringLiteral(OVALIN_BINARY)).path() + u"/libexec/osascript"_s;
    const auto script =
        QStringLiteral(R"(tell application "Chromium" to return (URL of active tab of front window) & "\n" & )"
                       R"((title of active tab of front window))");
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
    BrowserDesk desk;
    desk.startOvalin();
    const QString title = u"\"q\" 'q' \\ & $(id) — 😀"_s;
    writeFile(desk.folder() + u"/page.html"_s,
              u"<!doctype html><meta charset=utf-8><title>%1</title><body style='background:#2050c0'>"_s
                  .arg(title.toHtmlEscaped())
                  .toUtf8());
    for (const QString& host : {u"127.0.0.1"_s, u"example.test"_s}) {
        SCOPED_TRACE(host.toStdString());
        const QString address = u"http://%1:%2/page.html?q=1"_s.arg(host, desk.port);
        desk.startChromium(address);
        ASSERT_TRUE(shows(desk, address, title)) << desk.TestDesk::log(u"chromium"_s).toStdString();
        desk.xdotool({u"mousemove"_s, u"640"_s, u"400"_s});
        ASSERT_TRUE(desk.opensPanel());
        waitUntil([] { return false; }, 1.5); // it looks
        desk.keepPicture(host);
        desk.enter(host);
        ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        const QJsonObject request = desk.waitForRequest(host);
        EXPECT_EQ(text(request, "source_url"), address) << desk.log().toStdString();
        EXPECT_EQ(text(request, "source_title"), title);
        EXPECT_EQ(text(request, "source_bundle"), u"org.chromium.Chromium"_s);
        if (host == u"example.test") {
            EXPECT_EQ(text(request, "context_mode"), u"fetch"_s);
            EXPECT_FALSE(request.contains(u"screenshot"_s));
            continue;
        }
        EXPECT_EQ(text(request, "context_mode"), u"screenshot"_s);
        const QImage picture(text(request, "screenshot"));
        EXPECT_GE(picture.width(), 300) << desk.log().toStdString();
        EXPECT_GT(shareOfPage(picture), 0.97) << "the page fills the picture, and no panel covers it";
        EXPECT_NE(picture.pixel(picture.width() / 2, 8) & 0xffffff, PAGE_COLOUR & 0xffffff) << "with the window's bars";
    }
}

TEST(ScreenContext, TheTextOnTheScreenIsRead) {
    OvalinDesk desk;
    desk.startOvalinWith(u"ocr"_s, "#!/bin/sh\n\"$TOOLS/ocr\" \"$@\"; touch \"$HOME/read\"\n");
    desk.openEditor(QByteArray("Sphinx of black quartz judge my vow\n").repeated(5));
    ASSERT_TRUE(desk.opensPanel());
    // A request waits for the picture, but not for what it says.
    EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(desk.path(u"read"_s)); }, 30));
    waitUntil([] { return false; }, 0.5);
    desk.enter(u"read"_s);
    const QJsonObject request = desk.waitForRequest();
    EXPECT_TRUE(text(request, "screen_text").contains(u"black quartz"_s)) << desk.log().toStdString();
    EXPECT_GE(QImage(text(request, "screenshot")).width(), 300);
}
