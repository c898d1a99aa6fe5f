#include "Logind.h"

#include "LoginManagerClient.h"

namespace ovalin {

namespace {

/// Its signals reach `context` on the thread that made it.
LoginManagerClient* subscribed(LoginManagerClient* client, QObject* context, const SessionEvents& events) {
    QObject::connect(client, &LoginManagerClient::woke, context, [&events] {
        if (events.didWake)
            events.didWake();
    });
    QObject::connect(client, &LoginManagerClient::locking, context, [&events] {
        if (events.willLock)
            events.willLock();
    });
    // Queued before the client moves to its thread, and moved along with it.
    QMetaObject::invokeMethod(client, &LoginManagerClient::start, Qt::QueuedConnection);
    return client;
}

} // namespace

Logind::Logind(const QString& busAddress, const QString& sessionId, std::chrono::milliseconds retry)
    : thread(subscribed(new LoginManagerClient(busAddress, sessionId, retry), &context, *this)) {}

} // namespace ovalin
