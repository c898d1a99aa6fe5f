#pragma once

#include "base/Dispatch.h"
#include "platform/Speech.h"
#include "views/DictationField.h"

#include <QObject>
#include <QPointer>

#include <memory>

namespace ovalin {

/// Speech into the prompt field, after what stands there: consecutive segments on one continuous microphone stream.
/// Each segment's text is committed to a base text; what shows is the base and the current segment's hypothesis.
///
///     idle ─ click ─ waiting ─ microphone open ─ recording ─ click, limit, close, submit ─ draining ─ idle
///
/// It belongs to its field: with it goes the recording. Main thread.
class Dictation final : public QObject {
public:
    /// The field outlives it, the dispatch the recogniser's threads. `applyIntentInference`: the words have changed.
    /// With `standsAlone` utterances are written as sentences (asSentences), without it as they are heard.
    Dictation(Microphone& microphone, SpeechRecognizer& recognizer, Dispatch& dispatch, DictationField& field,
              std::function<void(bool force)> applyIntentInference,
              std::function<bool(const QString& text)> standsAlone = {});
    ~Dictation() override;

    void micTapped();
    /// Ends a recording; the words already spoken still arrive within three seconds, unless somebody has changed the
    /// field meanwhile.
    void stopRecording();
    [[nodiscard]] bool isRecording() const { return recording; }

private:
    class Feed;

    void startRecording();

    void beginRecognition();
    void recordingStarted();
    void startRecognitionSegment();
    void recognised(const std::shared_ptr<RecognitionRequest>& request, const RecognitionUpdate& update);
    void heard(const RecognitionResult& result);
    void endSegment();
    [[nodiscard]] bool keepsFailing();
    void commitDictation(const QString& text);
    void showDictation();
    void startFailed(const QString& note);
    [[nodiscard]] QString shownText() const;
    [[nodiscard]] bool fieldIsOurs() const;

    Microphone& audioEngine;
    SpeechRecognizer& speechRecognizer;
    Dispatch& dispatch;
    DictationField& field;
    const std::function<void(bool)> applyIntentInference;
    const std::function<bool(const QString&)> textStandsAlone;

    bool recording = false;
    std::unique_ptr<QObject> attempt; ///< while the answers to a start are on their way; without it they are dropped
    std::shared_ptr<RecognitionRequest> recognitionRequest;
    std::unique_ptr<RecognitionTask> recognitionTask;
    std::shared_ptr<Feed> feed; ///< shared with the audio thread
    QString before;             ///< what stood in the field when the recording began
    QStringList said;
    QString recordingBase; ///< both
    QString lastSegmentText;
    std::vector<double> failures;            ///< when: of the segments since the last word
    std::unique_ptr<QObject> maxRecordTimer; ///< the timer's context: without it, it does not fire
};

} // namespace ovalin
