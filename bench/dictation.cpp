// Engines for speech side by side, and dictation as a whole on a running microphone. Driven by bench/dictation.
#include "dictation/Dictation.h"

#include "base/Log.h"
#include "panel/CapturePanel.h"
#include "platform/speech/PulseMicrophone.h"
#include "platform/speech/VoskRecognizer.h"
#include "platform/x11/panel/X11Panels.h"

#include "NoPasteboard.h"

#include <sphinxbase/err.h>
#include <pocketsphinx.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTimer>

#include <cmath>
#include <cstdio>

#include <time.h>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

double seconds(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double residentMegabytes() {
    QFile status(u"/proc/self/statm"_s);
    return status.open(QIODevice::ReadOnly) ? status.readAll().split(' ').value(1).toDouble() * 4096 / 1e6 : 0;
}

SoundBlock samplesOf(const QString& file) {
    QFile sound(file);
    if (!sound.open(QIODevice::ReadOnly))
        std::fprintf(stderr, "cannot read %s\n", qPrintable(file));
    const QByteArray bytes = sound.readAll(); // raw
    SoundBlock samples(static_cast<size_t>(bytes.size()) / sizeof(qint16));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(qint16));
    return samples;
}

/// What is compared: both hear blocks, as from a microphone.
class Engine {
public:
    virtual ~Engine() = default;
    virtual void begin() = 0;
    /// The current partial text; `ended` gets the text of an utterance that has just ended.
    virtual QString accept(std::span<const qint16> block, QStringList& ended) = 0;
    virtual QString finish() = 0;
};

class VoskEngine final : public Engine {
public:
    explicit VoskEngine(Vosk theVosk)
        : vosk(std::move(theVosk)) {}
    void begin() override { stream = std::move(*vosk.stream()); }
    QString accept(std::span<const qint16> block, QStringList& ended) override {
        if (stream->accept(block) == Vosk::Stream::Heard::UtteranceEnd) {
            ended.append(stream->result());
            return {};
        }
        return stream->partial();
    }
    QString finish() override { return stream->finalResult(); }

private:
    Vosk vosk;
    std::optional<Vosk::Stream> stream;
};

class PocketSphinxEngine final : public Engine {
public:
    PocketSphinxEngine() {
        err_set_logfp(nullptr);
        cmd_ln_t* options = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", "/usr/share/pocketsphinx/model/en-us/en-us",
                                        "-lm", "/usr/share/pocketsphinx/model/en-us/en-us.lm.bin", "-dict",
                                        "/usr/share/pocketsphinx/model/en-us/cmudict-en-us.dict", nullptr);
        decoder = ps_init(options);
    }
    ~PocketSphinxEngine() override { ps_free(decoder); }
    void begin() override {
        spoken = false;
        ps_start_utt(decoder);
    }
    QString accept(std::span<const qint16> block, QStringList& ended) override {
        ps_process_raw(decoder, block.data(), block.size(), FALSE, FALSE);
        if (ps_get_in_speech(decoder)) {
            spoken = true;
        } else if (spoken) { // a pause, as its own demonstration program takes it
            ended.append(finish());
            begin();
            return {};
        }
        return hypothesis();
    }
    QString finish() override {
        ps_end_utt(decoder);
        return hypothesis();
    }

private:
    QString hypothesis() const {
        int32 score = 0;
        const char* text = ps_get_hyp(decoder, &score);
        return text ? QString::fromUtf8(text) : QString();
    }
    ps_decoder_t* decoder = nullptr;
    bool spoken = false;
};

QStringList wordsOf(const QString& text) {
    static const QRegularExpression other(u"[^a-z']+"_s);
    return text.toLower().split(other, Qt::SkipEmptyParts);
}

int editDistance(const QStringList& from, const QStringList& to) {
    std::vector<int> row(static_cast<size_t>(to.size()) + 1);
    for (size_t i = 0; i < row.size(); ++i)
        row[i] = static_cast<int>(i);
    for (const QString& word : from) {
        int diagonal = row[0]++;
        for (size_t i = 1; i < row.size(); ++i) {
            const int change = diagonal + (word == to[static_cast<qsizetype>(i) - 1] ? 0 : 1);
            diagonal = row[i];
            row[i] = std::min({change, row[i] + 1, row[i - 1] + 1});
        }
    }
    return row.back();
}

// Where the sound begins, in samples: the first hundredth of a second louder than -40 dB.
size_t onset(const SoundBlock& sound) {
    constexpr size_t FRAME = SOUND_RATE / 100;
    for (size_t at = 0; at + FRAME <= sound.size(); at += FRAME) {
        double power = 0;
        for (size_t i = at; i < at + FRAME; ++i)
            power += static_cast<double>(sound[i]) * sound[i];
        if (std::sqrt(power / FRAME) > 327)
            return at;
    }
    return 0;
}

double percentile(std::vector<double> values, double share) {
    if (values.empty())
        return NAN;
    std::ranges::sort(values);
    return values[std::min(values.size() - 1, static_cast<size_t>(share * static_cast<double>(values.size())))];
}

// `list`: lines of a raw sound file (16 kHz, one channel, 16 bit), a tab and the words.
int compare(Engine& engine, double loadSeconds, double before, const QString& list) {
    QFile file(list);
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    const double loaded = residentMegabytes();
    qsizetype words = 0;
    int errors = 0;
    double audio = 0, busy = 0, worst = 0;
    std::vector<double> delays;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        SoundBlock sound = samplesOf(line.section(u'\t', 0, 0));
        const double length = static_cast<double>(sound.size()) / SOUND_RATE;
        sound.resize(sound.size() + SOUND_RATE / 2); // a speaker's breath before the click
        const size_t start = onset(sound);
        QStringList heard;
        bool first = true;
        engine.begin();
        const double began = seconds(CLOCK_THREAD_CPUTIME_ID);
        for (size_t at = 0; at < sound.size(); at += SOUND_BLOCK) {
            const auto block = std::span(sound).subspan(at, std::min(SOUND_BLOCK, sound.size() - at));
            const double callBegan = seconds(CLOCK_THREAD_CPUTIME_ID);
            const QString partial = engine.accept(block, heard);
            const double took = seconds(CLOCK_THREAD_CPUTIME_ID) - callBegan;
            worst = std::max(worst, took);
            if (first && !partial.isEmpty()) {
                first = false;
                delays.push_back((static_cast<double>(at + block.size()) - static_cast<double>(start)) / SOUND_RATE +
                                 took);
            }
        }
        heard.append(engine.finish());
        busy += seconds(CLOCK_THREAD_CPUTIME_ID) - began;
        audio += length;
        const QStringList expected = wordsOf(line.section(u'\t', 1));
        words += expected.size();
        errors += editDistance(expected, wordsOf(heard.join(u' ')));
        if (qEnvironmentVariableIsSet("BENCH_TEXT"))
            std::fprintf(stderr, "%s\n  = %s\n", qPrintable(line.section(u'\t', 1)), qPrintable(heard.join(u' ')));
    }
    std::printf("%lld\t%lld\t%.0f\t%.1f\t%.3f\t%.2f\t%.2f\t%.2f\t%.2f\t%.0f\t%.0f\n",
                static_cast<long long>(lines.size()), static_cast<long long>(words), audio,
                100.0 * errors / static_cast<double>(words), busy / audio, percentile(delays, .5),
                percentile(delays, .9), worst, loadSeconds, loaded - before, residentMegabytes() - before);
    return 0;
}

/// What comes from the microphone, watched: the source counts up by one with each sample.
class WatchedMicrophone final : public Microphone {
public:
    explicit WatchedMicrophone(Microphone& theReal)
        : real(theReal) {}
    void requestAccess(QObject* context, std::function<void(bool)> answer) override {
        real.requestAccess(context, std::move(answer));
    }
    void start(Tap tap, QObject* context, std::function<void(const QString&)> started) override {
        real.start(
            [this, tap = std::move(tap)](std::span<const qint16> block) {
                for (const qint16 sample : block) {
                    const auto value = static_cast<quint16>(sample);
                    if (samples > 0 && value != static_cast<quint16>(last + 1) && (last != 0 || value != 0))
                        ++breaks;
                    last = value;
                    ++samples;
                }
                tap(block);
            },
            context, std::move(started));
    }
    void stop() override { real.stop(); }
    std::atomic<quint64> samples = 0, breaks = 0;

private:
    Microphone& real;
    quint16 last = 0;
};

// Dictation into a panel from the default microphone, for so many seconds: how long the event loop was away at a time.
int live(int duration, int typed, const SpeechFiles& files, int argc, char** argv) {
    qputenv("QT_NO_GLIB", "1"); // GLib's event loop does not tell when it wakes
    QApplication application(argc, argv);
    setLogSink([](const QString&) {});
    NoPasteboard pasteboard;
    QtDispatch dispatch;
    PulseMicrophone pulse(dispatch);
    WatchedMicrophone microphone(pulse);
    VoskRecognizer recognizer(dispatch, [files] { return files; });
    X11Panels panels;
    CapturePanel panel(pasteboard, panels);
    panel.openAt({100, 100});
    panel.setPrompt(QString(u"dictated "_s).repeated(typed / 9));
    int updates = 0;
    Dictation dictation(microphone, recognizer, dispatch, panel, [&](bool) { ++updates; });

    std::vector<double> away;
    double awake = 0;
    auto* loop = QAbstractEventDispatcher::instance();
    QObject::connect(loop, &QAbstractEventDispatcher::awake, [&] { awake = seconds(CLOCK_MONOTONIC); });
    QObject::connect(loop, &QAbstractEventDispatcher::aboutToBlock, [&] {
        if (awake > 0)
            away.push_back(1000 * (seconds(CLOCK_MONOTONIC) - std::exchange(awake, 0)));
    });
    QTimer::singleShot(500, [&] {
        away.clear();
        dictation.micTapped();
    });
    double cpu = 0;
    QTimer::singleShot(1000, [&] { cpu = seconds(CLOCK_THREAD_CPUTIME_ID); });
    QTimer::singleShot(500 + duration * 1000, [&] {
        cpu = (seconds(CLOCK_THREAD_CPUTIME_ID) - cpu) / (duration - .5);
        dictation.stopRecording();
        application.quit();
    });
    QApplication::exec();
    const auto late = std::ranges::count_if(away, [](double ms) { return ms > 16; });
    std::printf("%d\t%d\t%zu\t%.2f\t%.2f\t%.2f\t%lld\t%.1f\t%llu\t%llu\n", duration, updates, away.size(),
                percentile(away, .5), percentile(away, .99), percentile(away, 1), static_cast<long long>(late),
                100 * cpu, static_cast<unsigned long long>(microphone.samples),
                static_cast<unsigned long long>(microphone.breaks));
    std::fprintf(stderr, "%s\n", qPrintable(panel.prompt().right(2000)));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const QString mode = QString::fromLocal8Bit(argc > 3 ? argv[1] : "");
    const double before = residentMegabytes(), began = seconds(CLOCK_MONOTONIC);
    if (mode == u"vosk"_s && argc > 3) {
        const QString speech = QString::fromLocal8Bit(argv[2]);
        auto vosk = Vosk::load(speech + u"/lib/libvosk.so"_s, speech + u"/model"_s);
        if (!vosk) {
            std::fprintf(stderr, "%s\n", qPrintable(vosk.error()));
            return 1;
        }
        VoskEngine engine(std::move(*vosk));
        return compare(engine, seconds(CLOCK_MONOTONIC) - began, before, QString::fromLocal8Bit(argv[3]));
    }
    if (mode == u"pocketsphinx"_s) {
        PocketSphinxEngine engine;
        return compare(engine, seconds(CLOCK_MONOTONIC) - began, before, QString::fromLocal8Bit(argv[3]));
    }
    if (mode == u"live"_s && argc > 4) {
        const QString speech = QString::fromLocal8Bit(argv[2]);
        return live(std::atoi(argv[3]), std::atoi(argv[4]), {speech + u"/lib/libvosk.so"_s, {speech + u"/model"_s}},
                    argc, argv);
    }
    std::fprintf(stderr, "bench_dictation vosk|pocketsphinx SPEECH-FOLDER LIST | live SPEECH-FOLDER SECONDS TYPED\n");
    return 2;
}
