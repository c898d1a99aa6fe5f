#pragma once

#include "PulseCapture.h"

#include "base/Dispatch.h"

#include <QPointer>

namespace ovalin {

/// The default microphone of PulseAudio or PipeWire.
class PulseMicrophone final : public Microphone {
public:
    explicit PulseMicrophone(Dispatch& theDispatch)
        : dispatch(theDispatch) {}
    ~PulseMicrophone() override;

    void requestAccess(QObject* context, std::function<void(bool)> answer) override;
    void look(QObject* context, std::function<void(const QString&)> answer) override;
    void start(Tap tap, QObject* context, std::function<void(const QString&)> started) override;
    void stop() override;

private:
    Dispatch& dispatch;
    std::shared_ptr<PulseCapture> capture;
    QObject life; // what comes back from other threads is dropped when it is gone
};

} // namespace ovalin
