#pragma once

#include "Bus.h"
#include "base/Dispatch.h"
#include "platform/Notifier.h"

#include <QHash>

namespace ovalin {

class NotificationClient;

/// Desktop Notifications Specification 1.2, by D-Bus. A text that no service took within two seconds goes to the log;
/// when the service wakes up afterwards it may show it as well.
class FreedesktopNotifier final : public Notifier {
public:
    explicit FreedesktopNotifier(Dispatch& dispatch, const QString& busAddress = sessionBusAddress());
    ~FreedesktopNotifier() override;

    quint64 notify(const Notification& notification) override;
    void withdraw(quint64 ticket) override;

private:
    void logUnlessShown(quint64 ticket);

    Dispatch& dispatch;
    QObject context;
    quint64 lastTicket = 0;
    QHash<quint64, QString> unshown;     // what to log, until a service took it
    QHash<quint64, Notification> asking; // with buttons, until one is pressed or it is closed
    NotificationClient* client;          // lives on the thread
    BusThread thread;
};

} // namespace ovalin
