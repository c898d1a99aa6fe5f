#pragma once

#include "platform/Speech.h"

#include <pulse/pulseaudio.h>

#include <atomic>
#include <chrono>

namespace ovalin {

/// One recording through libpulse's asynchronous interface, from a PulseAudio server or PipeWire's: a connection and a
/// stream with an audio thread of their own. The server resamples. It records from the default source, never from a
/// monitor of what is being played, and stays with it: a source that goes away ends the recording.
class PulseCapture {
public:
    using Lost = std::function<void(const QString& reason)>;

    /// Both are called on the audio thread.
    PulseCapture(Microphone::Tap tap, Lost lost);
    ~PulseCapture();
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    /// Whether the server lets us in, as far as it answers. Blocks for two seconds at most.
    [[nodiscard]] static bool accessGranted();

    /// Why there is no microphone to open; empty when there is one. Blocks for two seconds at most.
    [[nodiscard]] static QString whyNone();

    /// Opens the microphone; empty, or why not. Blocks for a few seconds at most. Once.
    [[nodiscard]] QString start();

    /// Nothing is delivered afterwards. Waits for a start() under way.
    void stop();

private:
    enum class State { Pending, Ready, Failed };

    [[nodiscard]] QString open();
    [[nodiscard]] QString connect();
    [[nodiscard]] QString chooseSource();
    [[nodiscard]] QString record();
    [[nodiscard]] bool waitUntil(const std::function<State()>& state);
    [[nodiscard]] QString reason() const;
    void close();
    void changed();
    void pull();

    const Microphone::Tap tap;
    const Lost lost;
    std::mutex lifecycle; // start and stop, each on a worker
    std::atomic<bool> stopping = false;
    std::chrono::milliseconds patience{3000};
    pa_threaded_mainloop* loop = nullptr; // its lock guards what follows
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;
    bool running = false;
    bool told = false;
    QByteArray source;
    SoundBlock pending; ///< less than a block
};

} // namespace ovalin
