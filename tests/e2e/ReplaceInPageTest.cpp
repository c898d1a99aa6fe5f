// Replace over a page in a real browser: the bundled scripts edit the file that the page comes from.
#include "e2e/OvalinDesk.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
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
    desk.xdotool({u"mousemove"_s, u"--window"_s, panel, QString::number(size.width() - 140),
                  QString::number(size.height() - 32), u"click"_s, u"1"_s});
}

} // namespace

TEST(ReplaceInPage, TheSourceOfALocalPageAndOfAnOwnSiteIsEdited) {
    OvalinDesk desk;
    // Browsers look for this once, at their start.
    desk.output(u"gdbus"_s, {u"call"_s, u"--session"_s, u"--dest"_s, u"org.a11y.Bus"_s, u"--object-path"_s,
                             u"/org/a11y/bus"_s, u"--method"_s, u"org.freedesktop.DBus.Properties.Set"_s,
                             u"org.a11y.Status"_s, u"IsEnabled"_s, u"<true>"_s});
    const QString source = desk.path(u"my site/a page.html"_s);
    writeFile(source, BEFORE);
    desk.start(u"python3"_s, {u"-u"_s, u"-m"_s, u"http.server"_s, u"0"_s, u"--bind"_s, u"127.0.0.1"_s, u"--directory"_s,
                              desk.path(u"my site"_s)});
    QString site;
    ASSERT_TRUE(waitUntil([&] {
        const QString port = desk.TestDesk::log(u"python3"_s).section(u" port "_s, 1);
        site = u"http://127.0.0.1:"_s + port.section(u' ', 0, 0);
        return !port.isEmpty();
    }));
    writeFile(desk.path(u"CLAUDE/system/ovalin-sites.json"_s), u"{\"%1\": \"~/my site\"}"_s.arg(site).toUtf8());
    desk.startOvalin();
    for (const QString& address :
         {u"file://"_s + desk.path(u"my%20site/a%20page.html"_s), site + u"/a%20page.html?draft#top"_s}) {
        SCOPED_TRACE(address.toStdString());
        writeFile(source, BEFORE);
        QProcess& browser =
            desk.start(u"chromium"_s, {u"--no-sandbox"_s, u"--disable-gpu"_s, u"--no-first-run"_s,
                                       u"--disable-background-networking"_s, u"--password-store=basic"_s,
                                       u"--user-data-dir="_s + desk.path(u"chromium"_s),
                                       u"--force-renderer-accessibility"_s, address});
        ASSERT_FALSE(desk.waitForWindow(u"The old words"_s, 40).isEmpty());
        // A program that just opened may not listen yet: as a user would, try again.
        ASSERT_TRUE(waitUntil(
            [&] {
                desk.pressKey(u"Tab"_s);
                desk.pressKey(u"ctrl+a"_s);
                return desk.primary().contains(u"more"_s);
            },
            20));
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        waitUntil([] { return false; }, 2); // the page's address comes
        desk.type(u"new <words>"_s);
        desk.keepPicture(u"replace-in-page"_s);
        pressReplace(desk);
        EXPECT_TRUE(waitUntil([&] { return readFile(source) == AFTER; }))
            << readFile(source).toStdString() << desk.log().toStdString();
        EXPECT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        desk.end(browser);
    }
}
