// Speech into the real program: a real sound server, the real engine.
#include "e2e/OvalinDesk.h"
#include "support/SoundServer.h"

#include <QImage>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

bool askIsChosen(const OvalinDesk& desk) {
    const QRect panel = desk.frameOf(desk.panelWindow());
    const QString file = desk.path(QStringLiteral("screen.png"));
    desk.screenshot(file);
    return (QImage(file).pixel(panel.topLeft() + QPoint(81, 28)) & 0xffffff) == 0x8c89e7; // left in the Ask segment
}

} // namespace

TEST(Dictation, ASpokenQuestionTurnsToAskAndASpokenTaskIsHandedOver) {
    if (speechFolder().isEmpty())
        GTEST_SKIP() << "scripts/install-speech could not fetch the engine";
    SoundServer sound;
    OvalinDesk desk;
    desk.environment.insert(QStringLiteral("PULSE_SERVER"), sound.address());
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), "#!/bin/sh\n");
    desk.startOvalin();
    desk.openEditor("An excerpt.\n");
    const auto openAndListen = [&] {
        desk.pressHotkey();
        ASSERT_TRUE(desk.waitForPanel(true));
        const QRect panel = desk.frameOf(desk.panelWindow());
        desk.xdotool({QStringLiteral("mousemove"), QString::number(panel.right() - 31),
                      QString::number(panel.bottom() - 67), QStringLiteral("click"), QStringLiteral("1")});
        ASSERT_TRUE(waitUntil([&] { return sound.hasListener(); })) << desk.log().toStdString();
    };
    const auto utterances = [&] { return desk.log().count(QStringLiteral("Ovalin dictate: final=0 meta=1")); };

    openAndListen();
    EXPECT_FALSE(askIsChosen(desk));
    desk.keepPicture(QStringLiteral("listening"));
    ASSERT_TRUE(sound.play(spoken(QStringLiteral("what is the meaning of this message"), desk.home())));
    EXPECT_TRUE(waitUntil([&] { return askIsChosen(desk); })) << desk.log().toStdString();
    desk.keepPicture(QStringLiteral("dictated"));
    desk.pressKey(QStringLiteral("Escape"));
    EXPECT_TRUE(waitUntil([&] { return !sound.hasListener(); })) << "closing the panel lets the microphone go";

    const auto before = utterances();
    openAndListen();
    ASSERT_TRUE(sound.play(spoken(QStringLiteral("please send this message to the whole team"), desk.home())));
    ASSERT_TRUE(waitUntil([&] { return utterances() > before; })) << desk.log().toStdString();
    // On a busy machine a gap in the playing can pass for the end of an utterance.
    for (QString heard; heard != desk.log(); waitUntil([] { return false; }, 2))
        heard = desk.log();
    desk.pressKey(QStringLiteral("Return"));
    const QJsonObject request = desk.waitForRequest();
    EXPECT_TRUE(request.value(QStringLiteral("prompt")).toString().contains(QStringLiteral("message to the")))
        << request.value(QStringLiteral("prompt")).toString().toStdString();
    EXPECT_TRUE(waitUntil([&] { return !sound.hasListener(); }));
}
