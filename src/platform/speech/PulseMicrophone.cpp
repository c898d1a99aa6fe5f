#include "PulseMicrophone.h"

namespace ovalin {

PulseMicrophone::~PulseMicrophone() {
    if (capture)
        capture->stop();
}

void PulseMicrophone::requestAccess(QObject* context, std::function<void(bool)> answer) {
    dispatch.inBackground(
        Queue::UserInitiated, context, [] { return PulseCapture::accessGranted(); }, std::move(answer));
}

void PulseMicrophone::look(QObject* context, std::function<void(const QString&)> answer) {
    dispatch.inBackground(
        Queue::UserInitiated, context, [] { return PulseCapture::whyNone(); }, std::move(answer));
}

void PulseMicrophone::start(Tap tap, QObject* context, std::function<void(const QString&)> started) {
    stop();
    const auto whose = std::make_shared<std::weak_ptr<PulseCapture>>(); // it cannot know itself before it is made
    capture = std::make_shared<PulseCapture>(
        std::move(tap), [this, whose, guard = QPointer<QObject>(&life), &main = dispatch](const QString& reason) {
            main.toMain([this, whose, guard, reason] {
                if (guard && capture && whose->lock() == capture && lost)
                    lost(reason);
            });
        });
    *whose = capture;
    dispatch.inBackground(
        Queue::UserInitiated, context, [opened = capture] { return opened->start(); },
        [this, opened = capture, started = std::move(started)](const QString& error) {
            if (opened == capture)
                started(error);
        });
}

void PulseMicrophone::stop() {
    if (capture)
        dispatch.run(Queue::UserInitiated, [stopped = std::move(capture)] { stopped->stop(); });
    capture.reset();
}

} // namespace ovalin
