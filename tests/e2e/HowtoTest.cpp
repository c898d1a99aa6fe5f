// The card that explains the program: once by itself, then by its button, and never in the way.
#include "e2e/OvalinDesk.h"

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

const QRect SCREEN(0, 0, 1280, 800);

QString card(const OvalinDesk& desk) {
    return desk
        .xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                  QStringLiteral("^How Ovalin works$")})
        .section(QLatin1Char('\n'), 0, 0);
}

bool waitForCard(const OvalinDesk& desk, bool open, double seconds = 10) {
    return waitUntil([&] { return card(desk).isEmpty() != open; }, seconds);
}

void clickHelp(const OvalinDesk& desk) {
    desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), desk.panelWindow(), QStringLiteral("454"),
                  QStringLiteral("26"), QStringLiteral("click"), QStringLiteral("1")});
}

/// Beside the panel, not on it, and not closer than 12 pixels to the edge of the screen.
void expectWellPlaced(const OvalinDesk& desk) {
    const QRect panel = desk.frameOf(desk.panelWindow()), help = desk.frameOf(card(desk));
    const auto shown = [](const QRect& r) {
        return QStringLiteral("%1x%2+%3+%4 ").arg(r.width()).arg(r.height()).arg(r.x()).arg(r.y()).toStdString();
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
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    writeFile(desk.path(QStringLiteral(".config/ovalin/ovalin.conf")), "[General]\novalinAccessibilityOffered=true\n");
    desk.startOvalin();
    desk.openEditor("text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    ASSERT_TRUE(waitForCard(desk, true)) << desk.log().toStdString();
    EXPECT_TRUE(desk.waitForLog(QStringLiteral("Ovalin howto: shown at ("))) << desk.log().toStdString();
    expectWellPlaced(desk);
    desk.type(QStringLiteral("typed under the card"));
    desk.keepPicture(QStringLiteral("howto-first"));
    desk.pressKey(QStringLiteral("Return"));
    EXPECT_EQ(desk.waitForRequest().value(QStringLiteral("prompt")), QStringLiteral("typed under the card"))
        << desk.log().toStdString();
    EXPECT_TRUE(waitForCard(desk, false)) << "it goes with the panel";

    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    EXPECT_FALSE(waitForCard(desk, true, 1)) << "once is enough";
    EXPECT_EQ(desk.log().count(QStringLiteral("Ovalin howto: shown")), 1) << desk.log().toStdString();
    desk.pressKey(QStringLiteral("Escape"));
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
    desk.xdotool({QStringLiteral("windowmove"), QStringLiteral("--sync"), editor, QStringLiteral("0"),
                  QStringLiteral("0"), QStringLiteral("windowsize"), editor, QStringLiteral("1270"),
                  QStringLiteral("770")});
    struct Row {
        const char* name;
        QPoint pointer;
    };
    for (const Row& row :
         {Row{"left", {2, 300}}, Row{"right", {1278, 300}}, Row{"bottom", {640, 798}}, Row{"corner", {1279, 799}}}) {
        SCOPED_TRACE(row.name);
        desk.xdotool({QStringLiteral("mousemove"), QString::number(row.pointer.x()), QString::number(row.pointer.y())});
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
        clickHelp(desk);
        ASSERT_TRUE(waitForCard(desk, true)) << desk.log().toStdString();
        expectWellPlaced(desk);
        waitUntil([] { return false; }, 0.3); // drawn, for the picture
        desk.keepPicture(QStringLiteral("howto-") + QString::fromLatin1(row.name));
        clickHelp(desk);
        EXPECT_TRUE(waitForCard(desk, false)) << "a second click takes it away";
        EXPECT_FALSE(desk.panelWindow().isEmpty());
        desk.pressKey(QStringLiteral("Escape"));
        ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    }
}
