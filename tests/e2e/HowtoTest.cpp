// The card that explains the program: once by itself, then by its button, and never in the way.
#include "e2e/OvalinDesk.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

const QRect SCREEN(0, 0, 1280, 800);

QString card(const OvalinDesk& desk) {
    return desk.xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^How Ovalin works$"_s})
        .section(QLatin1Char('\n'), 0, 0);
}

bool waitForCard(const OvalinDesk& desk, bool open, double seconds = 10) {
    return waitUntil([&] { return card(desk).isEmpty() != open; }, seconds);
}

void clickHelp(const OvalinDesk& desk) {
    desk.xdotool({u"mousemove"_s, u"--window"_s, desk.panelWindow(), u"454"_s, u"26"_s, u"click"_s, u"1"_s});
}

/// Beside the panel, not on it, and not closer than 12 pixels to the edge of the screen.
void expectWellPlaced(const OvalinDesk& desk) {
    const QRect panel = desk.frameOf(desk.panelWindow()), help = desk.frameOf(card(desk));
    const auto shown = [](const QRect& r) {
        return u"%1x%2+%3+%4 "_s.arg(r.width()).arg(r.height()).arg(r.x()).arg(r.y()).toStdString();
    };
    EXPECT_EQ(panel.width(), 480);
    EXPECT_EQ(help.width(), 340);
    EXPECT_FALSE(panel.intersects(help)) << shown(panel) << shown(help);
    const QRect inside = SCREEN.adjusted(12, 12, -12, -12);
    EXPECT_TRUE(inside.contains(help) && inside.contains(panel)) << shown(panel) << shown(help);
}

} // namespace

TEST(Howto, ComesOnceByItselfAndLeavesTheKeyboardToThePanel) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/capture-router.sh"_s, "#!/bin/sh\n");
    writeFile(desk.path(u".config/ovalin/ovalin.conf"_s), "[General]\novalinAccessibilityOffered=true\n");
    desk.startOvalin();
    desk.openEditor("text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    ASSERT_TRUE(waitForCard(desk, true)) << desk.log().toStdString();
    EXPECT_TRUE(desk.waitForLog(u"Ovalin howto: shown at ("_s)) << desk.log().toStdString();
    expectWellPlaced(desk);
    desk.type(u"typed under the card"_s);
    desk.keepPicture(u"howto-first"_s);
    desk.pressKey(u"Return"_s);
    EXPECT_EQ(desk.waitForRequest().value(u"prompt"_s), u"typed under the card"_s) << desk.log().toStdString();
    EXPECT_TRUE(waitForCard(desk, false)) << "it goes with the panel";

    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    EXPECT_FALSE(waitForCard(desk, true, 1)) << "once is enough";
    EXPECT_EQ(desk.log().count(u"Ovalin howto: shown"_s), 1) << desk.log().toStdString();
    desk.pressKey(u"Escape"_s);
    desk.end(desk.ovalin());
    desk.startOvalin();
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    EXPECT_FALSE(waitForCard(desk, true, 1)) << "also for the next start of the program";
}

TEST(Howto, TheButtonTogglesItAndItFitsBesideThePanelEverywhere) {
    OvalinDesk desk;
    desk.startOvalin();
    const QString editor =
        desk.openEditor(QByteArray("The quick brown fox jumps over the lazy dog. 0123456789\n").repeated(40));
    desk.xdotool({u"windowmove"_s, u"--sync"_s, editor, u"0"_s, u"0"_s, u"windowsize"_s, editor, u"1270"_s, u"770"_s});
    struct Row {
        const char* name;
        QPoint pointer;
    };
    for (const Row& row :
         {Row{"left", {2, 300}}, Row{"right", {1278, 300}}, Row{"bottom", {640, 798}}, Row{"corner", {1279, 799}}}) {
        SCOPED_TRACE(row.name);
        desk.xdotool({u"mousemove"_s, QString::number(row.pointer.x()), QString::number(row.pointer.y())});
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        clickHelp(desk);
        ASSERT_TRUE(waitForCard(desk, true)) << desk.log().toStdString();
        expectWellPlaced(desk);
        waitUntil([] { return false; }, 0.3); // drawn, for the picture
        desk.keepPicture(u"howto-"_s + QString::fromLatin1(row.name));
        clickHelp(desk);
        EXPECT_TRUE(waitForCard(desk, false)) << "a second click takes it away";
        EXPECT_FALSE(desk.panelWindow().isEmpty());
        desk.pressKey(u"Escape"_s);
        ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    }
}
