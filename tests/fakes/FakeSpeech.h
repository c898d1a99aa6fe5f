#pragma once

#include "platform/Speech.h"

namespace ovalin {

/// A recogniser that says what the test tells it to.
struct FakeRecognizer final : SpeechRecognizer {
    struct Segment {
        std::shared_ptr<RecognitionRequest> request;
        Handler handler;
        bool cancelled = false;
    };
    struct Task final : RecognitionTask {
        explicit Task(std::shared_ptr<Segment> theSegment)
            : segment(std::move(theSegment)) {}
        void cancel() override { segment->cancelled = true; }
        std::shared_ptr<Segment> segment;
    };
    bool authorized = true, available = true;
    std::vector<std::shared_ptr<Segment>> segments;

    void requestAuthorization(QObject*, std::function<void(bool)> answer) override { answer(authorized); }
    bool isAvailable() const override { return available; }
    std::unique_ptr<RecognitionTask> recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                     Handler handler) override {
        segments.push_back(std::make_shared<Segment>(Segment{std::move(request), std::move(handler)}));
        return std::make_unique<Task>(segments.back());
    }
};

/// A microphone that opens when the test says so.
struct FakeMicrophone final : Microphone {
    bool granted = true;
    bool answersAtOnce = true;
    QString error; ///< of the next start
    bool running = false;
    int starts = 0;
    Tap tap;
    std::vector<std::function<void()>> answers; ///< to requestAccess, while it does not answer at once

    void requestAccess(QObject* context, std::function<void(bool)> answer) override {
        answers.push_back([guard = QPointer<QObject>(context), answer = std::move(answer), this] {
            if (guard)
                answer(granted);
        });
        if (answersAtOnce)
            answerAll();
    }
    void answerAll() {
        for (const auto& answer : std::exchange(answers, {}))
            answer();
    }
    void look(QObject*, std::function<void(const QString&)> answer) override { answer(error); }
    void start(Tap theTap, QObject*, std::function<void(const QString&)> started) override {
        ++starts;
        tap = std::move(theTap);
        running = error.isEmpty();
        started(error);
    }
    void stop() override { running = false; }
    void speak(qint16 sample) { tap(SoundBlock(SOUND_BLOCK, sample)); }
};

} // namespace ovalin
