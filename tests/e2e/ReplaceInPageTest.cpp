// Replace over a page in a real browser: the bundled scripts edit the file that the page comes from.
#include "e2e/OvalinDesk.h"

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

const QByteArray BEFORE = "<!doctype html><title>The old words</title><body><!-- The old words -->\n"
                          "<p title='The old words'>The <b>old</b>\n  words &amp; more</p>\n<p>second</p>";
const QByteArray AFTER = "<!doctype html><title>The old words</title><body><!-- The old words -->\n"
                         "<p title='The old words'>new &lt;words&gt;</p>\n";

/// A press of the button between Cancel and Submit.
void pressReplace(const OvalinDesk& desk) {
    const QString panel = desk.panelWindow();
    const QSize size = desk.frameOf(panel).size();
    desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), panel, QString::number(size.width() - 140),
                  QString::number(size.height() - 32), QStringLiteral("click"), QStringLiteral("1")});
}

} // namespace

TEST(ReplaceInPage, TheSourceOfALocalPageAndOfAnOwnSiteIsEdited) {
    OvalinDesk desk;
    // Browsers look for this once, at their start.
    desk.output(QStringLiteral("gdbus"),
                {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                 QStringLiteral("org.a11y.Bus"), QStringLiteral("--object-path"), QStringLiteral("/org/a11y/bus"),
                 QStringLiteral("--method"), QStringLiteral("org.freedesktop.DBus.Properties.Set"),
                 QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"), QStringLiteral("<true>")});
    const QString source = desk.path(QStringLiteral("my site/a page.html"));
    writeFile(source, BEFORE);
    desk.start(QStringLiteral("python3"), {QStringLiteral("-u"), QStringLiteral("-m"), QStringLiteral("http.server"),
                                           QStringLiteral("0"), QStringLiteral("--bind"), QStringLiteral("127.0.0.1"),
                                           QStringLiteral("--directory"), desk.path(QStringLiteral("my site"))});
    QString site;
    ASSERT_TRUE(waitUntil([&] {
        const QString port = desk.TestDesk::log(QStringLiteral("python3")).section(QStringLiteral(" port "), 1);
        site = QStringLiteral("http://127.0.0.1:") + port.section(u' ', 0, 0);
        return !port.isEmpty();
    }));
    writeFile(desk.path(QStringLiteral("CLAUDE/system/ovalin-sites.json")),
              QStringLiteral("{\"%1\": \"~/my site\"}").arg(site).toUtf8());
    desk.startOvalin();
    for (const QString& address : {QStringLiteral("file://") + desk.path(QStringLiteral("my%20site/a%20page.html")),
                                   site + QStringLiteral("/a%20page.html?draft#top")}) {
        SCOPED_TRACE(address.toStdString());
        writeFile(source, BEFORE);
        QProcess& browser = desk.start(
            QStringLiteral("chromium"),
            {QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"), QStringLiteral("--no-first-run"),
             QStringLiteral("--disable-background-networking"), QStringLiteral("--password-store=basic"),
             QStringLiteral("--user-data-dir=") + desk.path(QStringLiteral("chromium")),
             QStringLiteral("--force-renderer-accessibility"), address});
        ASSERT_FALSE(desk.waitForWindow(QStringLiteral("The old words"), 40).isEmpty());
        // A program that just opened may not listen yet: as a user would, try again.
        ASSERT_TRUE(waitUntil(
            [&] {
                desk.pressKey(QStringLiteral("Tab"));
                desk.pressKey(QStringLiteral("ctrl+a"));
                return desk.primary().contains(QStringLiteral("more"));
            },
            20));
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        waitUntil([] { return false; }, 2); // the page's address comes
        desk.type(QStringLiteral("new <words>"));
        desk.keepPicture(QStringLiteral("replace-in-page"));
        pressReplace(desk);
        EXPECT_TRUE(waitUntil([&] { return readFile(source) == AFTER; }))
            << readFile(source).toStdString() << desk.log().toStdString();
        EXPECT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        desk.end(browser);
    }
}
