#pragma once

#include "base/Dispatch.h"
#include "panel/CapturePanel.h"
#include "platform/Speech.h"

#include <QObject>
#include <QPointer>

#include <memory>

namespace ovalin {

/// Speech into the prompt field, after what stands there: consecutive segments on one continuous microphone stream.
/// Each segment's text is committed to a base text; what shows is the base and the current segment's hypothesis.
///
///     idle ─ click ─ waiting ─ microphone open ─ recording ─ click, limit, close, submit ─ draining ─ idle
///
/// A recording belongs to the panel in which it was begun; no word of it reaches a later one. Main thread.
class Dictation final : public QObject {
public:
    struct Surroundings {
        std::function<CapturePanel*()> panel; ///< the one that is open, or none
        std::function<void(bool force)> applyIntentInference;
    };

    /// The dispatch outlives the recogniser's threads.
    Dictation(Microphone& microphone, SpeechRecognizer& recognizer, Dispatch& dispatch, Surroundings surroundings);
    ~Dictation() override;

    void micTapped();
    void startRecording();
    /// Ends a recording; the words already spoken still arrive within three seconds, unless somebody has changed the
    /// field meanwhile.
    void stopRecording();
    [[nodiscard]] bool isRecording() const { return recording; }

private:
    class Feed;

    void beginRecognition();
    void recordingStarted();
    void startRecognitionSegment();
    void recognised(const std::shared_ptr<RecognitionRequest>& request, const RecognitionUpdate& update);
    void heard(const RecognitionResult& result);
    void endSegment();
    [[nodiscard]] bool keepsFailing();
    void commitDictation(const QString& text);
    void showDictation();
    void setMicState(bool active, const QString& note = {});
    void startFailed(const QString& note);
    [[nodiscard]] CapturePanel* recordingPanel() const;
    [[nodiscard]] bool fieldIsOurs() const;

    Microphone& audioEngine;
    SpeechRecognizer& recognizer;
    Dispatch& dispatch;
    const Surroundings surroundings;

    bool recording = false;
    std::unique_ptr<QObject> attempt;    ///< while the answers to a start are on their way; without it they are dropped
    QPointer<CapturePanel> clickedPanel; ///< in which the last start was asked for
    SpeechRecognizer* speechRecognizer = nullptr;
    std::shared_ptr<RecognitionRequest> recognitionRequest;
    std::unique_ptr<RecognitionTask> recognitionTask;
    std::shared_ptr<Feed> feed; ///< shared with the audio thread
    QString recordingBase;
    QString lastSegmentText;
    std::vector<double> failures;            ///< when: of the segments since the last word
    QString shownText;                       ///< what we last wrote into the field
    std::unique_ptr<QObject> maxRecordTimer; ///< the timer's context: without it, it does not fire
};

} // namespace ovalin
