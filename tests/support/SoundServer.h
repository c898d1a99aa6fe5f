#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace ovalin {

/// A PulseAudio of the test's own, with a microphone into which sound files can be played. Ended by pid when it goes.
class SoundServer {
public:
    enum class Source { Microphone, OnlyMonitor };
    explicit SoundServer(Source source = Source::Microphone);
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    /// For PULSE_SERVER.
    [[nodiscard]] QString address() const;

    /// Plays a sound file into the microphone, to its end; it is only heard by who already records. False on failure.
    bool play(const QString& file);
    void unplugMicrophone();
    void kill();

    /// Whether somebody records.
    [[nodiscard]] bool hasListener();

private:
    bool run(const QString& program, const QStringList& arguments, QByteArray* output = nullptr);

    QTemporaryDir folder;
    QProcessEnvironment environment;
    QProcess server;
};

/// The text spoken by flite's voice `rms`, as a sound file (16 kHz) in `folder`; empty on failure.
[[nodiscard]] QString spoken(const QString& text, const QString& folder);

/// Where scripts/install-speech put engine and model; empty when they could not be fetched.
[[nodiscard]] QString speechFolder();

} // namespace ovalin
