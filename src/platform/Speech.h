#pragma once

#include <QObject>
#include <QString>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace ovalin {

/// Sound as it is passed on everywhere: one channel, 16 bit, 16,000 samples a second, in blocks of 1,024 samples.
using SoundBlock = std::vector<qint16>;
inline constexpr int SOUND_RATE = 16000;
inline constexpr size_t SOUND_BLOCK = 1024;

/// The sound of one segment on its way from the microphone to the recogniser: a queue that keeps what is spoken while
/// the recogniser still loads or lags behind. Never on the disk. Any thread.
class RecognitionRequest {
public:
    /// Adds a block; dropped when the audio has ended.
    void append(std::span<const qint16> block);

    /// No more sound will come: the recogniser delivers its last result once it has heard what is queued.
    void endAudio();

    /// Drops what is queued, and ends.
    void cancel();
    [[nodiscard]] bool cancelled() const;

    /// Waits for the next block; nothing at the end of the audio. For the recogniser's thread.
    [[nodiscard]] std::optional<SoundBlock> take();

    /// Moves what an earlier request was given and nobody took in front of this one's own blocks.
    void continueFrom(RecognitionRequest& earlier);

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<SoundBlock> blocks;
    bool ended = false;
    bool dropped = false;
};

/// What a recogniser believes it has heard in the segment so far.
struct RecognitionResult {
    QString text;
    bool isFinal = false;     ///< the segment has ended with this
    bool hasMetadata = false; ///< an utterance has ended: the next result begins anew
};

/// One callback of a recognition task. An error ends the segment.
struct RecognitionUpdate {
    std::optional<RecognitionResult> result;
    std::optional<QString> error;
};

/// A segment being recognised; letting it go does not end it.
class RecognitionTask {
public:
    virtual ~RecognitionTask() = default;
    virtual void cancel() = 0;
};

/// Turns US-English speech into text, on this machine. Main thread; nothing waits.
class SpeechRecognizer {
public:
    using Handler = std::function<void(const RecognitionUpdate&)>;
    virtual ~SpeechRecognizer() = default;

    /// May speech be recognised? Also makes the recogniser look anew for what it needs. The answer comes later.
    virtual void requestAuthorization(QObject* context, std::function<void(bool authorized)> answer) = 0;

    /// Whether there is an engine with a model, as far as is known now.
    [[nodiscard]] virtual bool isAvailable() const = 0;

    /// Recognises the request's sound, partial results included, until its audio ends. `handler` is called on a thread
    /// of the recogniser.
    [[nodiscard]] virtual std::unique_ptr<RecognitionTask> recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                                           Handler handler) = 0;
};

/// The default microphone. Main thread; nothing waits.
class Microphone {
public:
    using Tap = std::function<void(std::span<const qint16> block)>;
    virtual ~Microphone() = default;

    /// May we listen? Denied only when the sound server says so. The answer comes later.
    virtual void requestAccess(QObject* context, std::function<void(bool granted)> answer) = 0;

    /// Why none could be opened now, for people, or an empty text; none is opened. The answer comes later.
    virtual void look(QObject* context, std::function<void(const QString& wrong)> answer) = 0;

    /// Opens the microphone; `started` gets an empty text once it delivers, else why it does not. Not called after
    /// stop(). The tap is called on the audio thread with each block of SOUND_BLOCK samples.
    virtual void start(Tap tap, QObject* context, std::function<void(const QString& error)> started) = 0;
    virtual void stop() = 0;

    /// The running microphone went away (unplugged, sound server ended). Called on the main thread.
    std::function<void(const QString& reason)> lost;
};

} // namespace ovalin
