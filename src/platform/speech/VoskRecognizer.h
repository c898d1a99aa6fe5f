#pragma once

#include "platform/helpers/SpeechFiles.h"
#include "Vosk.h"

#include "base/Dispatch.h"
#include "platform/Speech.h"

#include <QSet>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace ovalin {

/// Recognises on a thread of its own, one segment after another. The engine is loaded there at the first segment and
/// let go when nobody has spoken for `idleTime`. Of several models the first that loads is taken; one that was added
/// meanwhile is taken at the next start.
///
/// A pause ends an utterance, not the segment: its text comes as a result with metadata and the same segment goes on,
/// so that no sound falls between two. Only the end of the audio gives a final result.
class VoskRecognizer final : public SpeechRecognizer {
public:
    /// `find` is called on workers.
    VoskRecognizer(Dispatch& dispatch, std::function<SpeechFiles()> find,
                   std::chrono::milliseconds idleTime = std::chrono::minutes(5));
    /// Waits for the thread: for what the engine is just doing.
    ~VoskRecognizer() override;

    void requestAuthorization(QObject* context, std::function<void(bool)> answer) override;
    [[nodiscard]] bool isAvailable() const override { return available; }
    [[nodiscard]] std::unique_ptr<RecognitionTask> recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                                   Handler handler) override;
    /// Whether a model is in memory. Any thread.
    [[nodiscard]] bool isLoaded() const { return loaded; }

private:
    struct Job {
        std::shared_ptr<RecognitionRequest> request;
        Handler handler;
    };

    void work();
    [[nodiscard]] std::optional<Vosk> load(const SpeechFiles& files);
    static void recognize(const Vosk& engine, const Job& job);

    Dispatch& dispatch;
    const std::function<SpeechFiles()> find;
    const std::chrono::milliseconds idleTime;
    std::atomic<bool> available = false, loaded = false;
    QSet<QString> broken; ///< the thread's; not tried again, because the engine leaks what it has read of them

    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    SpeechFiles files;
    std::deque<Job> jobs;
    std::shared_ptr<RecognitionRequest> current;
    bool quitting = false;
    std::thread thread; ///< begun with the first job
};

} // namespace ovalin
