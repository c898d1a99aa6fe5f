// Replace over a page in a real browser: the bundled scripts edit the file that the page comes from.
#include "e2e/BrowserDesk.h"

namespace {

const QByteArray BEFORE = "<!doctype html><title>The old words</title><body><!-- The old words -->\n"
                          "<p title='The old words'>The <b>old</b>\n  words &amp; more</p>\n<p>second</p>";
const QByteArray AFTER = "<!doctype html><title>The old words</title><body><!-- The old words -->\n"
                         "<p title='The old words'>new &lt;words&gt;</p>\n";

} // namespace

TEST(ReplaceInPage, TheSourceOfALocalPageAndOfAnOwnSiteIsEdited) {
    BrowserDesk desk;
    const QString source = desk.folder() + u"/a page.html"_s, site = u"http://127.0.0.1:"_s + desk.port;
    writeFile(desk.path(u"CLAUDE/system/ovalin-sites.json"_s), u"{\"%1\": \"~/my site\"}"_s.arg(site).toUtf8());
    desk.startOvalin();
    for (const QString& address :
         {u"file://"_s + desk.path(u"my%20site/a%20page.html"_s), site + u"/a%20page.html?draft#top"_s}) {
        SCOPED_TRACE(address.toStdString());
        writeFile(source, BEFORE);
        QProcess& browser = desk.startChromium(address);
        ASSERT_FALSE(desk.waitForWindow(u"The old words"_s, 40).isEmpty());
        // A program that just opened may not listen yet: as a user would, try again.
        ASSERT_TRUE(waitUntil(
            [&] {
                desk.pressKey(u"Tab"_s);
                desk.pressKey(u"ctrl+a"_s);
                return desk.primary().contains(u"more"_s);
            },
            20));
        ASSERT_TRUE(desk.opensPanel());
        waitUntil([] { return false; }, 2); // the page's address comes
        desk.type(u"new <words>"_s);
        desk.keepPicture(u"replace-in-page"_s);
        desk.pressReplace();
        EXPECT_TRUE(waitUntil([&] { return readFile(source) == AFTER; }))
            << readFile(source).toStdString() << desk.log().toStdString();
        EXPECT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
        desk.end(browser);
    }
}
