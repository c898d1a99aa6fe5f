#include "VoskRecognizer.h"

#include "base/Log.h"

#include <malloc.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

class VoskTask final : public RecognitionTask {
public:
    explicit VoskTask(std::shared_ptr<RecognitionRequest> theRequest)
        : request(std::move(theRequest)) {}
    void cancel() override { request->cancel(); }

private:
    std::shared_ptr<RecognitionRequest> request;
};

RecognitionUpdate result(const QString& text, bool isFinal, bool hasMetadata) {
    return {RecognitionResult{text, isFinal, hasMetadata}, std::nullopt};
}

RecognitionUpdate failure(const QString& reason) { return {std::nullopt, reason}; }

} // namespace

VoskRecognizer::VoskRecognizer(Dispatch& theDispatch, std::function<SpeechFiles()> theFind,
                               std::chrono::milliseconds theIdleTime)
    : dispatch(theDispatch)
    , find(std::move(theFind))
    , idleTime(theIdleTime) {}

VoskRecognizer::~VoskRecognizer() {
    {
        const std::lock_guard lock(mutex);
        quitting = true;
        if (current)
            current->cancel();
    }
    changed.notify_all();
    if (thread.joinable())
        thread.join();
}

void VoskRecognizer::requestAuthorization(QObject* context, std::function<void(bool)> answer) {
    dispatch.inBackground(Queue::UserInitiated, context, find, [this, answer = std::move(answer)](SpeechFiles found) {
        available = found.complete();
        if (!available)
            logLine(u"Ovalin dictate: %1 — `ovalin install-speech` fetches both"_s.arg(found.whatIsMissing()));
        {
            const std::lock_guard lock(mutex);
            files = std::move(found);
        }
        answer(true); // no one on this desktop grants or denies speech recognition
    });
}

std::unique_ptr<RecognitionTask> VoskRecognizer::recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                                 Handler handler) {
    {
        const std::lock_guard lock(mutex);
        jobs.push_back({request, std::move(handler)});
        if (!thread.joinable())
            thread = std::thread([this] { work(); });
    }
    changed.notify_all();
    return std::make_unique<VoskTask>(std::move(request));
}

void VoskRecognizer::work() {
    std::optional<Vosk> engine;
    SpeechFiles loadedFrom;
    for (;;) {
        Job job;
        SpeechFiles wanted;
        {
            std::unique_lock lock(mutex);
            current.reset();
            const auto called = [this] { return quitting || !jobs.empty(); };
            if (!engine) {
                changed.wait(lock, called);
            } else if (!changed.wait_for(lock, idleTime, called)) {
                lock.unlock();
                engine.reset();
                ::malloc_trim(0); // it has left small holes all over a hundred MB
                loaded = false;
                continue;
            }
            if (quitting)
                return;
            job = std::move(jobs.front());
            jobs.pop_front();
            current = job.request;
            wanted = files;
        }
        if (!engine || loadedFrom != wanted) {
            engine.reset();
            engine = load(wanted);
            loadedFrom = wanted;
            loaded = engine.has_value();
        }
        if (engine) {
            recognize(*engine, job);
        } else {
            available = false;
            job.handler(failure(u"no engine"_s));
        }
    }
}

std::optional<Vosk> VoskRecognizer::load(const SpeechFiles& wanted) {
    for (const QString& model : wanted.models) {
        if (broken.contains(model))
            continue;
        auto engine = Vosk::load(wanted.library, model);
        if (engine)
            return std::move(*engine);
        logLine(u"Ovalin dictate: "_s + engine.error());
        broken.insert(model);
    }
    logLine(u"Ovalin dictate: no model can be used — `ovalin install-speech` fetches one"_s);
    return std::nullopt;
}

void VoskRecognizer::recognize(const Vosk& engine, const Job& job) {
    auto stream = engine.stream();
    if (!stream) {
        job.handler(failure(stream.error()));
        return;
    }
    QString shown;
    while (const auto block = job.request->take()) {
        switch (stream->accept(*block)) {
        case Vosk::Stream::Heard::Failure:
            job.handler(failure(u"the engine failed"_s));
            return;
        case Vosk::Stream::Heard::UtteranceEnd: {
            const QString text = stream->result();
            if (!text.isEmpty() || !shown.isEmpty())
                job.handler(result(text, false, true));
            shown.clear();
            break;
        }
        case Vosk::Stream::Heard::Speech:
            if (const QString text = stream->partial(); !text.isEmpty() && text != shown) {
                shown = text;
                job.handler(result(text, false, false));
            }
        }
    }
    if (!job.request->cancelled())
        job.handler(result(stream->finalResult(), true, true));
}

} // namespace ovalin
