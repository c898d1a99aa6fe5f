#pragma once

#include "Bus.h"

#include <QDBusServiceWatcher>
#include <QObject>

#include <chrono>
#include <optional>

namespace ovalin {

/// The side of Logind that talks to the bus; lives on a bus thread.
class LoginManagerClient final : public QObject {
    Q_OBJECT

public:
    LoginManagerClient(const QString& busAddress, const QString& session, std::chrono::milliseconds retry)
        : address(busAddress)
        , sessionId(session)
        , retryDelay(retry) {}

    /// Connects and subscribes; tries again, after the delay, when the bus does not answer and when it goes away.
    void start();

Q_SIGNALS:
    void woke();
    void locking();

private Q_SLOTS:
    void prepareForSleep(bool begins);
    void busGone();
    void lock() { Q_EMIT locking(); }
    void sessionChanged(const QString& interface, const QVariantMap& changed, const QStringList& invalidated);

private:
    void followSession();
    void listenTo(const QString& path, bool listen);
    [[nodiscard]] QString sessionPath();
    [[nodiscard]] std::optional<QVariant> ask(const QString& path, const QString& interface, const QString& method,
                                              const QVariantList& arguments);

    QString address;
    QString sessionId;
    std::chrono::milliseconds retryDelay;
    QString followed; // object path of the session that we hear
    std::optional<BusConnection> bus;
    std::optional<QDBusServiceWatcher> watcher;
};

} // namespace ovalin
