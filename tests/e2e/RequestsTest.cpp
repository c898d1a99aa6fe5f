// The card of requests: followed while they are worked on, run again, stopped, and their words put back.
#include "e2e/OvalinDesk.h"
#include "fakes/FakeServices.h"

namespace {

// Is done when it is told to be, or after half a minute: the router outlives the program, and must not outlive the
// test.
const QByteArray PATIENT_AGENT = "#!/bin/sh\nfile=${2##*Queue file: }\nleft=300\n"
                                 "while [ ! -e ~/go ] && [ $left -gt 0 ]; do sleep 0.1; left=$((left - 1)); done\n"
                                 "~/.claude/bin/ovalin-ledger set \"$(basename \"$file\" .json)\" ready 'noted it'\n";

struct RequestsDesk : OvalinDesk {
    std::optional<FakeNotifications> notifications;

    RequestsDesk() {
        QFile::remove(path(u".claude/bin/capture-router.sh"_s)); // the bundled one
        installScript(u".local/bin/claude"_s, PATIENT_AGENT);
        notifications.emplace(environment.value(u"DBUS_SESSION_BUS_ADDRESS"_s));
        startOvalin();
        waitForLog(u"bundled runtime scripts"_s);
        openEditor("some text\n");
    }
    ~RequestsDesk() {
        writeFile(path(u"go"_s), {});
        waitUntil([] { return false; }, 0.5); // each looks ten times a second
    }
    void open() { ASSERT_TRUE(opensPanel()); }
    void openCard() {
        const QPoint button = frameOf(panelWindow()).topLeft() + QPoint(398, 26);
        xdotool({u"mousemove"_s, QString::number(button.x()), QString::number(button.y()), u"click"_s, u"1"_s});
    }
    /// The list of requests has given its place to one of them.
    bool showsOne() {
        return waitUntil([&] { return frameOf(xdo(u"search --onlyvisible --name ^Requests$"_s)).height() > 300; });
    }
    void press(const QStringList& keys) {
        for (const QString& key : keys)
            pressKey(key);
    }
    /// A row, or whatever else has a name, comes to say so.
    bool says(const QString& name) {
        return waitUntil(
            [&] {
                const QSet<QString> names = accessibleNames();
                return std::any_of(names.begin(), names.end(),
                                   [&](const QString& each) { return each.startsWith(name); });
            },
            20);
    }
};

} // namespace

TEST(Requests, OneIsFollowedRunAgainStoppedAndItsWordsPutBack) {
    RequestsDesk desk;
    desk.open();
    desk.enter(u"note this"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    desk.open();
    desk.openCard();
    EXPECT_TRUE(desk.says(u"note this, working · Mousepad, just now"_s)) << desk.log().toStdString();
    desk.keepPicture(u"requests-working"_s);
    writeFile(desk.path(u"go"_s), {});
    EXPECT_TRUE(desk.says(u"note this, ready · Mousepad · noted it, just now"_s));
    ASSERT_TRUE(desk.notifications->waitFor(1));
    EXPECT_EQ(desk.notifications->shown[0].title, u"Ovalin — ready"_s);
    EXPECT_EQ(desk.notifications->shown[0].body, u"noted it — “note this”"_s);
    EXPECT_TRUE(desk.notifications->shown[0].actions.contains(u"default"_s));

    QFile::remove(desk.path(u"go"_s));
    desk.press({u"Down"_s, u"Return"_s});
    ASSERT_TRUE(desk.showsOne());
    desk.press({u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Return"_s});
    EXPECT_TRUE(desk.says(u"Really run?"_s));
    EXPECT_EQ(desk.requests().size(), 1U);
    desk.keepPicture(u"requests-really"_s);
    desk.press({u"Return"_s, u"Escape"_s});
    EXPECT_TRUE(desk.says(u"note this, working · Mousepad"_s));
    ASSERT_EQ(desk.requests().size(), 2U);
    EXPECT_NE(desk.requests().at(0)[u"id"_s], desk.requests().at(1)[u"id"_s]);

    desk.press({u"Up"_s, u"Return"_s});
    ASSERT_TRUE(desk.showsOne());
    desk.press({u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Return"_s, u"Return"_s, u"Escape"_s});
    EXPECT_TRUE(desk.says(u"note this, needs attention · Mousepad · stopped by you"_s))
        << readFile(desk.path(u".claude/logs/capture-router.log"_s)).constData();

    desk.type(u"half a thought"_s);
    desk.press({u"Down"_s, u"Return"_s});
    ASSERT_TRUE(desk.showsOne());
    desk.press({u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Return"_s});
    desk.enter(u" again"_s);
    EXPECT_FALSE(desk.waitForRequest(u"note this again"_s).isEmpty());
    EXPECT_EQ(desk.notifications->shown.size(), 1U) << "who stops one is not told";
    desk.open();
    desk.pressKey(u"Up"_s);
    desk.pressKey(u"Up"_s);
    desk.keepPicture(u"requests-recalled"_s);
    desk.pressKey(u"Return"_s);
    EXPECT_FALSE(desk.waitForRequest(u"half a thought"_s).isEmpty()) << "what stood there is not lost";
}
