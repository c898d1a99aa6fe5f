#pragma once

#include "AtSpiFocusRecords.h"
#include "platform/dbus/Bus.h"

#include <QDBusMessage>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace ovalin {

/// Hears on the accessibility bus which object gains and loses the keyboard focus, and keeps it in the records. Lives
/// on a bus thread, which sleeps while nobody moves the focus. A flood of such events is not listened to for a second.
class AtSpiFocusFollower final : public QObject {
    Q_OBJECT

public:
    /// `address` asks for the accessibility bus and may wait for it; empty: there is none.
    AtSpiFocusFollower(std::function<QString()> address, std::shared_ptr<AtSpiFocusRecords> records);

    /// Begins to listen, unless it does. On its thread.
    void follow();

private Q_SLOTS:
    void stateChanged(const QDBusMessage& message);
    void registryChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    void listen(bool on);
    void askForEvents(bool on);
    [[nodiscard]] bool floods();
    void identify(const QString& service);

    const std::function<QString()> address;
    const std::shared_ptr<AtSpiFocusRecords> records;
    std::optional<BusConnection> bus;
    bool listening = false;
    QTimer again{this};
    AtSpiFocusRecords::Time second; // the one that `heard` counts the events of
    int heard = 0;
    std::set<QString> asking; // applications that are being asked what their object is
};

} // namespace ovalin
