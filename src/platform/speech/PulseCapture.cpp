#include "PulseCapture.h"

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

// Holds the audio thread still while it lives.
class LoopLock {
public:
    explicit LoopLock(pa_threaded_mainloop* theLoop)
        : loop(theLoop) {
        pa_threaded_mainloop_lock(loop);
    }
    ~LoopLock() { pa_threaded_mainloop_unlock(loop); }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

private:
    pa_threaded_mainloop* loop;
};

void forget(pa_operation* operation) {
    if (operation)
        pa_operation_unref(operation);
}

struct Sources {
    QByteArray byDefault;
    std::vector<QByteArray> microphones; // every source that is not a monitor of a sink
    int answers = 0;
    pa_threaded_mainloop* loop = nullptr;

    void answered() {
        ++answers;
        pa_threaded_mainloop_signal(loop, 0);
    }
};

} // namespace

PulseCapture::PulseCapture(Microphone::Tap theTap, Lost theLost)
    : tap(std::move(theTap))
    , lost(std::move(theLost)) {}

PulseCapture::~PulseCapture() { stop(); }

bool PulseCapture::accessGranted() {
    PulseCapture probe({}, {});
    probe.patience = std::chrono::milliseconds(2000);
    const std::lock_guard lock(probe.lifecycle);
    const bool connected = probe.connect().isEmpty();
    const bool denied = !connected && probe.context && pa_context_errno(probe.context) == PA_ERR_ACCESS;
    probe.close();
    return !denied;
}

QString PulseCapture::whyNone() {
    PulseCapture probe({}, {});
    probe.patience = std::chrono::milliseconds(2000);
    const std::lock_guard lock(probe.lifecycle);
    QString error = probe.connect();
    if (error.isEmpty())
        error = probe.chooseSource();
    probe.close();
    return error;
}

QString PulseCapture::start() {
    const std::lock_guard lock(lifecycle);
    const QString error = stopping ? u"stopped"_s : open();
    if (!error.isEmpty())
        close();
    return error;
}

void PulseCapture::stop() {
    stopping = true;
    const std::lock_guard lock(lifecycle);
    close();
}

QString PulseCapture::open() {
    QString error = connect();
    if (error.isEmpty())
        error = chooseSource();
    if (error.isEmpty())
        error = record();
    return error;
}

QString PulseCapture::connect() {
    loop = pa_threaded_mainloop_new();
    context = pa_context_new(pa_threaded_mainloop_get_api(loop), "Ovalin");
    pa_context_set_state_callback(
        context, [](pa_context*, void* self) { static_cast<PulseCapture*>(self)->changed(); }, this);
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        pa_threaded_mainloop_start(loop) < 0)
        return u"no sound server: "_s + reason();
    const LoopLock lock(loop);
    const bool ready = waitUntil([this] {
        const pa_context_state_t state = pa_context_get_state(context);
        return state == PA_CONTEXT_READY ? State::Ready : PA_CONTEXT_IS_GOOD(state) ? State::Pending : State::Failed;
    });
    return ready ? QString() : u"no sound server: "_s + reason();
}

QString PulseCapture::chooseSource() {
    const LoopLock lock(loop);
    // Kept by the callbacks' operations only while we wait; a late answer finds it no more, so they are cancelled.
    Sources found;
    found.loop = loop;
    pa_operation* server = pa_context_get_server_info(
        context,
        [](pa_context*, const pa_server_info* info, void* data) {
            auto* sources = static_cast<Sources*>(data);
            if (info && info->default_source_name)
                sources->byDefault = info->default_source_name;
            sources->answered();
        },
        &found);
    pa_operation* list = pa_context_get_source_info_list(
        context,
        [](pa_context*, const pa_source_info* info, int end, void* data) {
            auto* sources = static_cast<Sources*>(data);
            if (end)
                sources->answered();
            else if (info->monitor_of_sink == PA_INVALID_INDEX)
                sources->microphones.emplace_back(info->name);
        },
        &found);
    const bool answered = waitUntil([&] {
        return found.answers == 2                                  ? State::Ready
               : PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) ? State::Pending
                                                                   : State::Failed;
    });
    for (pa_operation* operation : {server, list}) {
        if (operation && !answered)
            pa_operation_cancel(operation);
        forget(operation);
    }
    if (!answered)
        return u"the sound server does not answer: "_s + reason();
    if (found.microphones.empty())
        return u"no microphone"_s;
    source = found.microphones.front();
    for (const QByteArray& microphone : found.microphones) {
        if (microphone == found.byDefault)
            source = microphone;
    }
    return {};
}

QString PulseCapture::record() {
    const LoopLock lock(loop);
    const pa_sample_spec format{PA_SAMPLE_S16LE, SOUND_RATE, 1};
    pa_buffer_attr buffers{static_cast<uint32_t>(-1), 0, 0, 0, SOUND_BLOCK * sizeof(qint16)};
    stream = pa_stream_new(context, "Dictation", &format, nullptr);
    if (!stream)
        return reason();
    pa_stream_set_state_callback(
        stream, [](pa_stream*, void* self) { static_cast<PulseCapture*>(self)->changed(); }, this);
    pa_stream_set_read_callback(
        stream, [](pa_stream*, size_t, void* self) { static_cast<PulseCapture*>(self)->pull(); }, this);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream, source.constData(), &buffers, flags) < 0)
        return reason();
    const bool ready = waitUntil([this] {
        const pa_stream_state_t state = pa_stream_get_state(stream);
        return state == PA_STREAM_READY ? State::Ready : PA_STREAM_IS_GOOD(state) ? State::Pending : State::Failed;
    });
    if (!ready)
        return QString::fromUtf8(source) + u": "_s + reason();
    running = true;
    return {};
}

// With the lock held, which is open while it waits. False on failure, stop() and when patience is at its end.
bool PulseCapture::waitUntil(const std::function<State()>& state) {
    struct Alarm {
        pa_threaded_mainloop* loop;
        bool rang = false;
    } alarm{loop};
    pa_time_event* timer = pa_context_rttime_new(
        context, pa_rtclock_now() + static_cast<pa_usec_t>(std::chrono::microseconds(patience).count()),
        [](pa_mainloop_api*, pa_time_event*, const timeval*, void* data) {
            auto* rung = static_cast<Alarm*>(data);
            rung->rang = true;
            pa_threaded_mainloop_signal(rung->loop, 0);
        },
        &alarm);
    State now = state();
    while (now == State::Pending && !alarm.rang && !stopping) {
        pa_threaded_mainloop_wait(loop);
        now = state();
    }
    pa_threaded_mainloop_get_api(loop)->time_free(timer);
    return now == State::Ready;
}

QString PulseCapture::reason() const {
    const int error = pa_context_errno(context);
    return error == PA_OK ? u"no answer"_s : QString::fromUtf8(pa_strerror(error));
}

void PulseCapture::close() {
    if (!loop)
        return;
    pa_threaded_mainloop_stop(loop);
    if (stream) {
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_set_read_callback(stream, nullptr, nullptr);
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
        stream = nullptr;
    }
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
    context = nullptr;
    pa_threaded_mainloop_free(loop);
    loop = nullptr;
    running = false;
}

void PulseCapture::changed() {
    const bool good = PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) &&
                      (!stream || PA_STREAM_IS_GOOD(pa_stream_get_state(stream)));
    if (running && !good && !told) {
        told = true;
        const int error = pa_context_errno(context);
        lost(error == PA_OK ? u"the source was removed"_s : QString::fromUtf8(pa_strerror(error)));
    }
    pa_threaded_mainloop_signal(loop, 0);
}

void PulseCapture::pull() {
    const void* data = nullptr;
    size_t size = 0;
    while (pa_stream_readable_size(stream) > 0 && pa_stream_peek(stream, &data, &size) == 0 && size > 0) {
        const auto* samples = static_cast<const qint16*>(data);
        const size_t count = size / sizeof(qint16);
        if (samples)
            pending.insert(pending.end(), samples, samples + count);
        else
            pending.resize(pending.size() + count); // a hole in the recording
        pa_stream_drop(stream);
    }
    size_t sent = 0;
    for (; pending.size() - sent >= SOUND_BLOCK; sent += SOUND_BLOCK)
        tap(std::span(pending).subspan(sent, SOUND_BLOCK));
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(sent));
}

} // namespace ovalin
