#pragma once

#include "AtSpiBus.h"
#include "platform/dbus/Bus.h"

#include <QDBusMessage>
#include <QObject>

#include <functional>
#include <optional>

namespace ovalin {

/// A window that has the keyboard, as its application tells.
struct AtSpiWindow {
    AtSpiRef object;
    qint32 pid = 0;
    QString application; ///< what it calls itself
    QString title;
};

/// Hears on the accessibility bus which window has the keyboard, for desktops that tell nobody. A window is believed
/// that says it has become active and still says so when it is asked; one that is not in the tree is nobody's. Lives on
/// a bus thread.
class AtSpiFront final : public QObject {
    Q_OBJECT

public:
    /// Called on the thread; with nothing when no window has the keyboard any more that is known.
    using Told = std::function<void(const std::optional<AtSpiWindow>&)>;

    /// `address` asks for the accessibility bus and may wait for it; empty: there is none.
    AtSpiFront(std::function<QString()> address, Told told);

    /// Begins to listen, unless it does, and looks which window has the keyboard now. On its thread.
    void follow();

private Q_SLOTS:
    void stateChanged(const QDBusMessage& message);
    void ownerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    void listen();
    void lookAround();
    void became(const AtSpiRef& window);
    void lost();

    const std::function<QString()> address;
    const Told told;
    std::optional<BusConnection> bus;
    AtSpiRef latest; // that has said it is active; null: none, or it is so no more
};

} // namespace ovalin
