// Replace and Insert by the built program, in a real editor.
#include "e2e/OvalinDesk.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

/// A press of the button between Cancel and Submit.
void pressReplace(const OvalinDesk& desk) {
    const QString panel = desk.panelWindow();
    const QSize size = desk.frameOf(panel).size();
    desk.xdotool({u"mousemove"_s, u"--window"_s, panel, QString::number(size.width() - 140),
                  QString::number(size.height() - 32), u"click"_s, u"1"_s});
}

void openPanel(const OvalinDesk& desk, const QString& prompt) {
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    desk.type(prompt);
}

/// What the editor saves.
bool documentIs(const OvalinDesk& desk, const QByteArray& text) {
    return waitUntil([&] {
        desk.pressKey(u"ctrl+s"_s);
        return readFile(desk.path(u"document.txt"_s)).trimmed() == text;
    });
}

QString clipboard(const OvalinDesk& desk) {
    return desk.output(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s});
}

} // namespace

TEST(Replace, TheSelectionIsReplacedUndoneAndTheClipboardIsAsItWas) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/ovalin-transform.sh"_s,
                       "#!/bin/zsh\nwhile [[ ! -e $HOME/go ]]; do sleep 0.02; done\ntr a-z A-Z\n");
    desk.startOvalin();
    writeFile(desk.path(u"copied"_s), "copied before");
    desk.start(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s, desk.path(u"copied"_s)});
    desk.openEditor("the old words");
    ASSERT_TRUE(waitUntil([&] {
        desk.pressKey(u"ctrl+a"_s);
        return desk.primary() == u"the old words"_s;
    }));

    openPanel(desk, u"replace with 'the new words'"_s);
    pressReplace(desk);
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "the new words"));
    EXPECT_TRUE(waitUntil([&] { return clipboard(desk) == u"copied before"_s; }));
    desk.pressKey(u"ctrl+z"_s);
    EXPECT_TRUE(documentIs(desk, "the old words"));

    // Through the script, while the panel says so.
    desk.pressKey(u"ctrl+a"_s);
    openPanel(desk, u"make it loud"_s);
    pressReplace(desk);
    EXPECT_TRUE(desk.waitForLog(u"ovalin-transform.sh exists=1"_s));
    desk.keepPicture(u"replacing"_s);
    writeFile(desk.path(u"go"_s), {});
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDS"));

    // Without a selection the words go to the cursor.
    desk.pressKey(u"ctrl+End"_s);
    openPanel(desk, u"'and more'"_s);
    pressReplace(desk);
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDSand more"));
    EXPECT_TRUE(waitUntil([&] { return clipboard(desk) == u"copied before"_s; }));
}

TEST(Replace, AHangingScriptNeitherOutlivesTheProgramNorHoldsUpItsEnd) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/ovalin-transform.sh"_s,
                       "#!/bin/zsh\ntrap '' TERM\nprint $$ > $HOME/pid\nwhile true; do sleep 1; done\n");
    desk.startOvalin();
    desk.openEditor("some words");
    desk.pressKey(u"ctrl+a"_s);
    openPanel(desk, u"make it loud"_s);
    pressReplace(desk);
    const QString pidFile = desk.path(u"pid"_s);
    ASSERT_TRUE(waitUntil([&] { return readFile(pidFile).endsWith('\n'); })) << desk.log().toStdString();
    desk.end(desk.ovalin()); // the desk sees that it ends by itself
    const QString script = u"/proc/"_s + QString::fromLatin1(readFile(pidFile).trimmed());
    EXPECT_TRUE(waitUntil([&] { return !QFile::exists(script); }));
}
