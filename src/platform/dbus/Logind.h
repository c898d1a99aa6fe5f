#pragma once

#include "Bus.h"
#include "platform/Notifier.h"

#include <chrono>

namespace ovalin {

/// The login manager on the system bus (org.freedesktop.login1). Stays silent where there is none; picks it up again
/// when it, or the bus, restarts.
class Logind final : public SessionEvents {
public:
    /// `sessionId` is what the login manager calls our session, for when it cannot tell by the process.
    explicit Logind(const QString& busAddress = systemBusAddress(),
                    const QString& sessionId = qEnvironmentVariable("XDG_SESSION_ID"),
                    std::chrono::milliseconds retry = std::chrono::seconds(30));

private:
    QObject context;
    BusThread thread;
};

} // namespace ovalin
