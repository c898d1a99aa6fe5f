// Replace and Insert by the built program, in a real editor.
#include "e2e/OvalinDesk.h"

namespace {

void openPanel(const OvalinDesk& desk, const QString& prompt) {
    ASSERT_TRUE(desk.opensPanel());
    desk.type(prompt);
}

/// What the editor saves.
bool documentIs(const OvalinDesk& desk, const QByteArray& text) {
    return waitUntil([&] {
        desk.pressKey(u"ctrl+s"_s);
        return readFile(desk.path(u"document.txt"_s)).trimmed() == text;
    });
}

} // namespace

TEST(Replace, TheSelectionIsReplacedUndoneAndTheClipboardIsAsItWas) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/ovalin-transform.sh"_s,
                       "#!/bin/zsh\nwhile [[ ! -e $HOME/go ]]; do sleep 0.02; done\ntr a-z A-Z\n");
    desk.startOvalin();
    writeFile(desk.path(u"copied"_s), "copied before");
    desk.start(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s, desk.path(u"copied"_s)});
    ASSERT_TRUE(waitUntil([&] { return desk.selection() == u"copied before"_s; }));
    desk.openEditor("the old words");
    ASSERT_TRUE(waitUntil([&] {
        desk.pressKey(u"ctrl+a"_s);
        return desk.primary() == u"the old words"_s;
    }));

    openPanel(desk, u"replace with 'the new words'"_s);
    desk.pressReplace();
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "the new words"));
    EXPECT_TRUE(waitUntil([&] { return desk.selection() == u"copied before"_s; }));
    desk.pressKey(u"ctrl+z"_s);
    EXPECT_TRUE(documentIs(desk, "the old words"));

    // Through the script, while the panel says so.
    desk.pressKey(u"ctrl+a"_s);
    openPanel(desk, u"make it loud"_s);
    desk.pressReplace();
    EXPECT_TRUE(desk.waitForLog(u"ovalin-transform.sh exists=1"_s));
    desk.keepPicture(u"replacing"_s);
    writeFile(desk.path(u"go"_s), {});
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDS"));

    // Without a selection the words go to the cursor.
    desk.pressKey(u"ctrl+End"_s);
    openPanel(desk, u"'and more'"_s);
    desk.pressReplace();
    ASSERT_TRUE(desk.waitForPanel(false)) << desk.log().toStdString();
    EXPECT_TRUE(documentIs(desk, "THE OLD WORDSand more"));
    EXPECT_TRUE(waitUntil([&] { return desk.selection() == u"copied before"_s; }));
}
