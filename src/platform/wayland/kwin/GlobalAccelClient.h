#pragma once

#include "platform/HotKeys.h"
#include "platform/dbus/Bus.h"

#include <QObject>
#include <QVariant>

#include <chrono>
#include <optional>

namespace ovalin {

/// The side of KwinHotKeys that talks to the bus; lives on a bus thread.
class GlobalAccelClient final : public QObject {
    Q_OBJECT

public:
    explicit GlobalAccelClient(const QString& busAddress)
        : address(busAddress) {}

    /// Ends in `became`. `key`: Qt's number with its modifiers; 0: KDE has none such.
    void bind(int key);
    void unbind();

Q_SIGNALS:
    void became(ovalin::HotKeyState state);
    void pressed();

private Q_SLOTS:
    void shortcutPressed(const QString& component, const QString& action, qlonglong time);
    void shortcutReleased(const QString& component, const QString& action, qlonglong time);

private:
    [[nodiscard]] HotKeyState tryToBind(int key);
    [[nodiscard]] bool listen();
    [[nodiscard]] std::optional<QVariant> ask(const QString& method, const QVariantList& arguments);

    const QString address;
    std::optional<BusConnection> bus;
    bool bound = false;
    std::optional<std::chrono::steady_clock::time_point> downSince; // or repeated since
};

} // namespace ovalin
