// Dictation with the real engine, its real model and a real sound server.
#include "dictation/Dictation.h"

#include "platform/speech/PulseMicrophone.h"
#include "platform/speech/VoskRecognizer.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeViews.h"
#include "support/SoundServer.h"

#include <QLocalServer>
#include <QRegularExpression>

#include <cmath>
#include <random>

// The engine leaks when a model cannot be loaded. Called by LeakSanitizer.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libvosk.so\n"; }

namespace {

const QString LISTENING = u"listening"_s;
const QString READ_ALOUD = u"/usr/share/pocketsphinx/test/data/librivox/"_s;

// The share of the expected words that were heard, in any order.
double heardShare(const QString& expected, const QString& heard) {
    static const QRegularExpression blanks(u"\\s+"_s);
    const QStringList words = expected.split(blanks, Qt::SkipEmptyParts);
    QStringList found = heard.split(blanks, Qt::SkipEmptyParts);
    const auto hits = std::ranges::count_if(words, [&](const QString& word) { return found.removeOne(word); });
    return static_cast<double>(hits) / static_cast<double>(words.size());
}

// The samples of a sound file of 16 kHz, one channel, 16 bit.
SoundBlock samplesOf(const QString& file) {
    const QByteArray bytes = readFile(file).mid(44);
    SoundBlock samples(static_cast<size_t>(bytes.size()) / sizeof(qint16));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(qint16));
    return samples;
}

/// A recogniser asked without a microphone.
struct RecognizerTest : testing::Test {
    QTemporaryDir home;
    QtDispatch dispatch;
    SpeechFiles files;
    std::mutex mutex;
    QStringList utterances;
    QString error;
    bool finished = false;

    void SetUp() override {
        if (speechFolder().isEmpty())
            GTEST_SKIP() << "scripts/install-speech could not fetch the engine";
        files = {speechFolder() + u"/lib/libvosk.so"_s, {speechFolder() + u"/model"_s}};
    }
    /// What is recognised when the sound is there before the engine is.
    QString recognize(VoskRecognizer& recognizer, const SoundBlock& sound) {
        utterances.clear();
        finished = false;
        bool answered = false;
        recognizer.requestAuthorization(QCoreApplication::instance(), [&](bool) { answered = true; });
        EXPECT_TRUE(waitUntil([&] { return answered; }));
        if (!recognizer.isAvailable())
            return {};
        const auto request = std::make_shared<RecognitionRequest>();
        for (size_t at = 0; at < sound.size(); at += SOUND_BLOCK)
            request->append(std::span(sound).subspan(at, std::min(SOUND_BLOCK, sound.size() - at)));
        request->endAudio();
        const auto task = recognizer.recognitionTask(request, [this](const RecognitionUpdate& update) {
            const std::lock_guard lock(mutex);
            if (update.error)
                error = *update.error;
            else if (update.result->hasMetadata)
                utterances.append(update.result->text);
            finished = update.error || update.result->isFinal;
        });
        EXPECT_TRUE(waitUntil(
            [this] {
                const std::lock_guard lock(mutex);
                return finished;
            },
            60));
        const std::lock_guard lock(mutex);
        return utterances.join(QLatin1Char(' ')).trimmed();
    }
};

/// The whole room over a prompt and a sound server.
struct SpeechTest : RecognizerTest {
    std::optional<SoundServer> server;
    FakeDictationField view;
    LogRecorder log;
    std::unique_ptr<PulseMicrophone> microphone;
    std::unique_ptr<VoskRecognizer> recognizer;
    std::unique_ptr<Dictation> dictation;

    void SetUp() override {
        RecognizerTest::SetUp();
        microphone = std::make_unique<PulseMicrophone>(dispatch);
        recognizer = std::make_unique<VoskRecognizer>(dispatch, [this] { return files; });
        dictation = std::make_unique<Dictation>(*microphone, *recognizer, dispatch, view, [](bool) {});
    }
    void TearDown() override {
        dictation.reset();
        recognizer.reset();
        dispatch.finish();
        microphone.reset();
        qunsetenv("PULSE_SERVER");
    }
    void startServer(SoundServer::Source source = SoundServer::Source::Microphone) {
        server.emplace(source);
        qputenv("PULSE_SERVER", server->address().toUtf8());
    }
    void listen() {
        dictation->micTapped();
        ASSERT_TRUE(waitUntil([this] { return dictation->isRecording(); })) << log.lines.join(u'\n').toStdString();
        ASSERT_TRUE(waitUntil([this] { return server->hasListener(); }));
    }
    [[nodiscard]] QString status() const { return view.status; }
    [[nodiscard]] QString field() const { return view.text; }
};

} // namespace

TEST_F(SpeechTest, AMicrophoneThatCannotBeOpenedIsSaidAndNobodyWaitsForIt) {
    QLocalServer mute; // takes connections and never says a word
    ASSERT_TRUE(mute.listen(home.filePath(u"mute"_s)));
    const SoundServer onlyMonitor(SoundServer::Source::OnlyMonitor);
    for (const QByteArray& where : {QByteArray("unix:/nowhere"), onlyMonitor.address().toUtf8(),
                                    QByteArray("unix:") + mute.fullServerName().toUtf8()}) {
        qputenv("PULSE_SERVER", where);
        dictation->micTapped();
        EXPECT_EQ(status(), LISTENING);
        EXPECT_TRUE(waitUntil([this] { return status() != LISTENING; }, 15)) << where.toStdString();
        EXPECT_EQ(status(), u"microphone start failed"_s) << where.toStdString();
        EXPECT_FALSE(dictation->isRecording());
    }
    EXPECT_EQ(log.count(u"Ovalin: audio engine start failed — "_s), 3);
}

TEST_F(SpeechTest, AMicrophoneThatGoesAwayEndsTheRecordingAndLeavesItsWords) {
    for (const bool wholeServer : {false, true}) {
        startServer();
        view.text.clear();
        listen();
        ASSERT_TRUE(server->play(spoken(u"please send this message"_s, home.path())));
        EXPECT_TRUE(waitUntil([this] { return heardShare(u"please message"_s, field()) == 1; }))
            << field().toStdString();
        if (wholeServer)
            server->kill();
        else
            server->unplugMicrophone();
        EXPECT_TRUE(waitUntil([this] { return !dictation->isRecording(); }));
        EXPECT_EQ(status(), u"microphone disconnected"_s);
        dictation->micTapped();
        EXPECT_TRUE(waitUntil([this] { return status() == u"microphone start failed"_s; }));
        EXPECT_EQ(heardShare(u"please message"_s, field()), 1) << field().toStdString();
    }
}

TEST_F(SpeechTest, TwentyStartsAndStopsInAHurryLeaveTheMicrophoneFree) {
    startServer();
    for (int i = 0; i < 20; ++i) {
        dictation->micTapped();
        if (i % 3 == 0)
            waitUntil([this] { return dictation->isRecording(); }, 1);
    }
    dictation->stopRecording();
    waitUntil([this] { return status() != LISTENING || dictation->isRecording(); });
    dictation->stopRecording();
    EXPECT_TRUE(waitUntil([this] { return !server->hasListener(); }));
    EXPECT_FALSE(view.listening);
}

TEST_F(RecognizerTest, SpeechThatCameBeforeTheEngineIsRecognisedAndTheEngineFreedAfterwards) {
    VoskRecognizer recognizer(
        dispatch, [this] { return files; }, std::chrono::milliseconds(50));
    for (int round = 0; round < 2; ++round) {
        // Two sentences with a pause: two utterances of one segment, not a word between them lost.
        SoundBlock sound = samplesOf(READ_ALOUD + u"sense_and_sensibility_01_austen_64kb-0870.wav"_s);
        sound.resize(sound.size() + 2 * SOUND_RATE);
        const SoundBlock second = samplesOf(READ_ALOUD + u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
        sound.insert(sound.end(), second.begin(), second.end());
        const QString heard = recognize(recognizer, sound);
        EXPECT_GE(utterances.size(), 2);
        EXPECT_GE(heardShare(u"and mister john dashwood had then leisure to consider how much there might be "
                             "prudently in his power to do for them he was not an ill disposed young man"_s,
                             heard),
                  0.6)
            << heard.toStdString();
        EXPECT_TRUE(waitUntil([&] { return !recognizer.isLoaded(); }));
    }
}

TEST_F(RecognizerTest, NoWordsAreMadeOfSoundThatHoldsNone) {
    VoskRecognizer recognizer(dispatch, [this] { return files; });
    std::minstd_rand random(1);
    const std::pair<const char*, std::function<qint16(int)>> rows[] = {
        {"silence", [](int) -> qint16 { return 0; }},
        {"noise", [&](int) { return static_cast<qint16>(static_cast<int>(random() % 2001) - 1000); }},
        {"hum", [](int i) { return static_cast<qint16>(2000 * std::sin(i * 0.0196)); }},
    };
    for (const auto& [name, sample] : rows) {
        SoundBlock sound;
        for (int i = 0; i < 10 * SOUND_RATE; ++i)
            sound.push_back(sample(i));
        EXPECT_EQ(recognize(recognizer, sound), QString()) << name;
        EXPECT_EQ(error, QString());
    }
}

TEST_F(RecognizerTest, OnesOwnModelIsPreferredAndABrokenOneIsPassedOver) {
    QDir own(home.filePath(u".local/share/ovalin/models"_s));
    const QString bundled = files.models.first(), program = home.filePath(u"bin"_s);
    QDir().mkpath(program);
    QFile::link(speechFolder(), program + u"/speech"_s);
    const auto copyOf = [&](const QString& name) {
        QProcess::execute(u"mkdir"_s, {u"-p"_s, own.path()});
        QProcess::execute(u"cp"_s, {u"-r"_s, bundled, own.filePath(name)});
        return own.filePath(name);
    };
    QFile::resize(copyOf(u"a damaged one"_s) + u"/am/final.mdl"_s, 5000);
    QFile::remove(copyOf(u"b half of one"_s) + u"/graph/HCLr.fst"_s);
    own.mkpath(u"c empty"_s);
    const QString whole = copyOf(u"d whole"_s);

    const SpeechFiles found = findSpeechFiles(home.path(), program);
    ASSERT_EQ(found.models.size(), 4);
    EXPECT_EQ(found.models[2], whole) << "before the one that came along";
    VoskRecognizer recognizer(dispatch, [&] { return findSpeechFiles(home.path(), program); });
    const LogRecorder log;
    const SoundBlock sound = samplesOf(READ_ALOUD + u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
    EXPECT_FALSE(recognize(recognizer, sound).isEmpty());
    EXPECT_EQ(log.count(u"is not a whole model"_s), 2) << log.lines.join(u'\n').toStdString();

    // Nothing but broken ones: an error once, and unavailable.
    QFile::remove(program + u"/speech"_s);
    own.rename(u"d whole/am"_s, u"d whole/gone"_s);
    QDir().mkpath(program + u"/speech"_s);
    QFile::link(speechFolder() + u"/lib"_s, program + u"/speech/lib"_s);
    EXPECT_EQ(recognize(recognizer, sound), QString());
    EXPECT_EQ(error, u"no engine"_s);
    EXPECT_FALSE(recognizer.isAvailable());
}
