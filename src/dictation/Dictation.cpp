#include "Dictation.h"

#include "DictationText.h"
#include "SpokenSentences.h"

#include "base/Log.h"
#include "base/Text.h"

using namespace Qt::StringLiterals;

namespace ovalin {

using namespace std::chrono_literals;

namespace {

constexpr auto LONGEST_RECORDING = 1800s;
constexpr auto DRAIN_TIME = 3s;
constexpr size_t MOST_FAILURES = 3;
constexpr double FAILING_WITHIN = 1; // seconds

} // namespace

// Where the audio thread finds the request of the current segment.
class Dictation::Feed {
public:
    void append(std::span<const qint16> block) {
        const std::lock_guard lock(mutex);
        if (request)
            request->append(block);
    }
    // What the earlier segment was given and did not hear goes on to the next: no word falls between two.
    void next(std::shared_ptr<RecognitionRequest> wanted, RecognitionRequest* earlier) {
        const std::lock_guard lock(mutex);
        if (earlier)
            wanted->continueFrom(*earlier);
        request = std::move(wanted);
    }
    void close() {
        const std::lock_guard lock(mutex);
        request.reset();
    }

private:
    std::mutex mutex;
    std::shared_ptr<RecognitionRequest> request;
};

Dictation::Dictation(Microphone& microphone, SpeechRecognizer& theRecognizer, Dispatch& theDispatch,
                     DictationField& theField, std::function<void(bool)> inference,
                     std::function<bool(const QString&)> standsAlone)
    : audioEngine(microphone)
    , speechRecognizer(theRecognizer)
    , dispatch(theDispatch)
    , field(theField)
    , applyIntentInference(std::move(inference))
    , textStandsAlone(std::move(standsAlone))
    , feed(std::make_shared<Feed>()) {
    audioEngine.lost = [this](const QString& reason) {
        logLine(u"Ovalin dictate: microphone lost — "_s + reason);
        if (recording) {
            stopRecording();
            field.setMicState(false, u"microphone disconnected"_s);
        } else if (attempt) {
            audioEngine.stop();
            startFailed(u"microphone start failed"_s);
        }
    };
}

Dictation::~Dictation() {
    audioEngine.lost = {};
    if (attempt || recording)
        audioEngine.stop();
    if (recognitionTask)
        recognitionTask->cancel();
}

void Dictation::micTapped() {
    if (recording)
        stopRecording();
    else
        startRecording();
}

void Dictation::startRecording() {
    field.setMicState(true, {});
    if (attempt)
        return; // a second click while the answers to the first are on their way
    attempt = std::make_unique<QObject>();
    speechRecognizer.requestAuthorization(attempt.get(), [this](bool authorized) {
        if (!authorized) {
            startFailed(u"speech recognition permission needed (System Settings → Privacy)"_s);
            return;
        }
        audioEngine.requestAccess(attempt.get(), [this](bool granted) {
            if (!granted)
                startFailed(u"microphone permission needed (System Settings → Privacy)"_s);
            else if (!field.isShown() || recording)
                startFailed({});
            else
                beginRecognition();
        });
    });
}

void Dictation::beginRecognition() {
    if (!speechRecognizer.isAvailable()) {
        startFailed(u"speech recognizer unavailable"_s);
        return;
    }
    audioEngine.start([tap = feed](std::span<const qint16> block) { tap->append(block); }, attempt.get(),
                      [this](const QString& error) {
                          if (!error.isEmpty()) {
                              logLine(u"Ovalin: audio engine start failed — "_s + error);
                              startFailed(u"microphone start failed"_s);
                          } else if (!field.isShown()) {
                              audioEngine.stop(); // closed while the microphone was being opened
                              startFailed({});
                          } else {
                              recordingStarted();
                          }
                      });
}

void Dictation::recordingStarted() {
    attempt.release()->deleteLater(); // we are in one of its callbacks
    recording = true;
    failures.clear();
    recordingBase = before = field.prompt();
    said.clear();
    field.setMicState(true, {});
    field.focusPrompt();
    maxRecordTimer = std::make_unique<QObject>();
    dispatch.after(LONGEST_RECORDING, maxRecordTimer.get(), [this] { stopRecording(); });
    if (recognitionTask)
        recognitionTask->cancel(); // still draining: its words stand in the field
    recognitionRequest.reset();
    startRecognitionSegment();
}

void Dictation::startRecognitionSegment() {
    auto request = std::make_shared<RecognitionRequest>();
    feed->next(request, recognitionRequest.get());
    recognitionRequest = request;
    lastSegmentText.clear();
    recognitionTask = speechRecognizer.recognitionTask(
        request, [&main = dispatch, self = QPointer<Dictation>(this), request](const RecognitionUpdate& update) {
            main.toMain([self, request, update] {
                if (self)
                    self->recognised(request, update);
            });
        });
}

void Dictation::recognised(const std::shared_ptr<RecognitionRequest>& request, const RecognitionUpdate& update) {
    if (request != recognitionRequest)
        return; // of an earlier segment, or cancelled
    if (update.result && fieldIsOurs())
        heard(*update.result);
    if (update.result && !update.result->text.isEmpty())
        failures.clear();
    if (update.error) {
        failures.push_back(dispatch.now());
        logLine(u"Ovalin dictate: recognition error — "_s + *update.error);
    }
    if (update.error || (update.result && update.result->isFinal))
        endSegment();
}

void Dictation::heard(const RecognitionResult& result) {
    const bool meta = result.hasMetadata;
    const qsizetype length = characterCount(result.text), last = characterCount(lastSegmentText);
    logLine(u"Ovalin dictate: final=%1 meta=%2 len=%3 last=%4"_s.arg(result.isFinal ? 1 : 0)
                .arg(meta ? 1 : 0)
                .arg(length)
                .arg(last));
    if (!result.text.isEmpty()) {
        if (!meta && isSilentReset(lastSegmentText, result.text)) {
            logLine(u"Ovalin dictate: silent reset detected (%1 -> %2), committing previous partial"_s.arg(last).arg(
                length));
            commitDictation(lastSegmentText);
        }
        lastSegmentText = result.text;
        showDictation();
        applyIntentInference(meta || result.isFinal);
    }
    if (meta)
        commitDictation(lastSegmentText);
}

void Dictation::endSegment() {
    commitDictation(lastSegmentText);
    recognitionTask.reset();
    // The engine could not be loaded, or does nothing but fail: no segment would do better.
    if (recording && (!speechRecognizer.isAvailable() || keepsFailing())) {
        stopRecording();
        field.setMicState(false, u"speech recognizer unavailable"_s);
    } else if (recording) {
        startRecognitionSegment();
        return;
    }
    recognitionRequest.reset();
}

bool Dictation::keepsFailing() {
    std::erase_if(failures, [now = dispatch.now()](double when) { return when < now - FAILING_WITHIN; });
    return failures.size() >= MOST_FAILURES;
}

void Dictation::commitDictation(const QString& text) {
    const bool shows = fieldIsOurs();
    const QString heard = shownText();
    if (!text.isEmpty())
        said += text;
    recordingBase = textStandsAlone ? asSentences(before, said, textStandsAlone) : withWords(recordingBase, text);
    lastSegmentText.clear();
    if (!shows || recordingBase == heard)
        return;
    showDictation();
    applyIntentInference(true); // a question mark tells
}

void Dictation::showDictation() { field.setPrompt(shownText()); }

QString Dictation::shownText() const { return withWords(recordingBase, lastSegmentText); }

void Dictation::stopRecording() {
    if (!recording)
        return;
    recording = false;
    maxRecordTimer.reset();
    audioEngine.stop();
    feed->close();
    if (recognitionRequest)
        recognitionRequest->endAudio();
    field.setMicState(false, {});
    dispatch.after(DRAIN_TIME, this, [this, request = recognitionRequest] {
        if (!recognitionTask || recognitionRequest != request)
            return;
        recognitionTask->cancel();
        recognitionTask.reset();
        recognitionRequest.reset();
    });
}

void Dictation::startFailed(const QString& note) {
    if (attempt)
        attempt.release()->deleteLater(); // we are in one of its callbacks
    field.setMicState(false, note);
}

// The last words of a stopped recording must not come back into a field that was sent, emptied or edited since.
bool Dictation::fieldIsOurs() const { return recording || field.prompt() == shownText(); }

} // namespace ovalin
