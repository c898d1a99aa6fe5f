// Speech into the real program: a real sound server, the real engine.
#include "e2e/OvalinDesk.h"

#include <QImage>

namespace {

bool askIsChosen(const OvalinDesk& desk) {
    const QRect panel = desk.frameOf(desk.panelWindow());
    const QString file = desk.path(u"screen.png"_s);
    desk.screenshot(file);
    return QImage(file).pixelColor(panel.topLeft() + QPoint(81, 28)).saturation() > 100; // left in the Ask segment
}

} // namespace

TEST(Dictation, ASpokenQuestionTurnsToAskAndASpokenTaskIsHandedOver) {
    if (speechFolder().isEmpty())
        GTEST_SKIP() << "scripts/install-speech could not fetch the engine";
    SoundServer sound;
    OvalinDesk desk;
    desk.environment.insert(u"PULSE_SERVER"_s, sound.address());
    desk.startOvalin();
    desk.openEditor("An excerpt.\n");
    const auto openAndListen = [&] {
        ASSERT_TRUE(desk.opensPanel());
        QRect panel; // once it has grown for its note
        QElapsedTimer resting;
        ASSERT_TRUE(waitUntil([&] {
            if (const QRect was = std::exchange(panel, desk.frameOf(desk.panelWindow())); was != panel)
                resting.start();
            return resting.hasExpired(500);
        }));
        desk.xdotool({u"mousemove"_s, QString::number(panel.right() - 31), QString::number(panel.bottom() - 67),
                      u"click"_s, u"1"_s});
        ASSERT_TRUE(waitUntil([&] { return sound.hasListener(); })) << desk.log().toStdString();
    };

    openAndListen();
    EXPECT_FALSE(askIsChosen(desk));
    desk.keepPicture(u"listening"_s);
    ASSERT_TRUE(sound.play(spoken(u"what is the meaning of this message"_s, desk.home())));
    EXPECT_TRUE(waitUntil([&] { return askIsChosen(desk); })) << desk.log().toStdString();
    desk.keepPicture(u"dictated"_s);
    desk.pressKey(u"Escape"_s);
    EXPECT_TRUE(waitUntil([&] { return !sound.hasListener(); })) << "closing the panel lets the microphone go";

    openAndListen();
    ASSERT_TRUE(desk.hears(sound, u"please send this message to the whole team"_s)) << desk.log().toStdString();
    desk.pressKey(u"Return"_s);
    const QJsonObject request = desk.waitForRequest();
    EXPECT_TRUE(request.value(u"prompt"_s).toString().contains(u"message to the"_s))
        << request.value(u"prompt"_s).toString().toStdString();
    EXPECT_TRUE(waitUntil([&] { return !sound.hasListener(); }));
}
