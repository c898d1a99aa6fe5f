// Replace and Insert by the built program, in a real editor.
#include "e2e/OvalinDesk.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

/// A press of the button between Cancel and Submit.
void pressReplace(const OvalinDesk& desk) {
    const QString panel = desk.panelWindow();
    const QSize size = desk.frameOf(panel).size();
    desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), panel, QString::number(size.width() - 140),
                  QString::number(size.height() - 32), QStringLiteral("click"), QStringLiteral("1")});
}

void openPanel(const OvalinDesk& desk, const QString& prompt) {
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    desk.type(prompt);
}

/// What the editor saves.
bool documentIs(const OvalinDesk& desk, const QByteArray& text) {
    return waitUntil([&] {
        desk.pressKey(QStringLiteral("ctrl+s"));
        return readFile(desk.path(QStringLiteral("document.txt"))).trimmed() == text;
    });
}

QString clipboard(const OvalinDesk& desk) {
    return desk.output(QStringLiteral("xclip"),
                       {QStringLiteral("-o"), QStringLiteral("-selection"), QStringLiteral("clipboard")});
}

} // namespace

TEST(Replace, TheSelectionIsReplacedUndoneAndTheClipboardIsAsItWas) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/ovalin-transform.sh"),
                       "#!/bin/zsh\nwhile [[ ! -e $HOME/go ]]; do sleep 0.02; done\ntr a-z A-Z\n");
    desk.startOvalin();
    writeFile(desk.path(QStringLiteral("copied")), "copied before");
    desk.start(QStringLiteral("xclip"), {QStringLiteral("-quiet"), QStringLiteral("-selection"),
                                         QStringLiteral("clipboard"), desk.path(QStringLiteral("copied"))});
    desk.openEditor("the old words");
    ASSERT_TRUE(waitUntil([&] {
        desk.pressKey(QStringLiteral("ctrl+a"));
        return desk.primary() == QStringLiteral("the old words");
    }));

    openPanel(desk, QStringLiteral("replace with 'the new words'"));
    pressReplace(desk);
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "the new words"));
    EXPECT_TRUE(waitUntil([&] { return clipboard(desk) == QStringLiteral("copied before"); }));
    desk.pressKey(QStringLiteral("ctrl+z"));
    EXPECT_TRUE(documentIs(desk, "the old words"));

    // Through the script, while the panel says so.
    desk.pressKey(QStringLiteral("ctrl+a"));
    openPanel(desk, QStringLiteral("make it loud"));
    pressReplace(desk);
    EXPECT_TRUE(desk.waitForLog(QStringLiteral("ovalin-transform.sh exists=1")));
    desk.keepPicture(QStringLiteral("replacing"));
    writeFile(desk.path(QStringLiteral("go")), {});
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDS"));

    // Without a selection the words go to the cursor.
    desk.pressKey(QStringLiteral("ctrl+End"));
    openPanel(desk, QStringLiteral("'and more'"));
    pressReplace(desk);
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDSand more"));
    EXPECT_TRUE(waitUntil([&] { return clipboard(desk) == QStringLiteral("copied before"); }));
}

TEST(Replace, AHangingScriptNeitherOutlivesTheProgramNorHoldsUpItsEnd) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/ovalin-transform.sh"),
                       "#!/bin/zsh\ntrap '' TERM\nprint $$ > $HOME/pid\nwhile true; do sleep 1; done\n");
    desk.startOvalin();
    desk.openEditor("some words");
    desk.pressKey(QStringLiteral("ctrl+a"));
    openPanel(desk, QStringLiteral("make it loud"));
    pressReplace(desk);
    const QString pidFile = desk.path(QStringLiteral("pid"));
    ASSERT_TRUE(waitUntil([&] { return readFile(pidFile).endsWith('\n'); })) << desk.log().toStdString();
    desk.end(desk.ovalin()); // the desk sees that it ends by itself
    const QString script = QStringLiteral("/proc/") + QString::fromLatin1(readFile(pidFile).trimmed());
    EXPECT_TRUE(waitUntil([&] { return !QFile::exists(script); }));
}
