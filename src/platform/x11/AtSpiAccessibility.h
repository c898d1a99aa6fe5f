#pragma once

#include "AtSpiBus.h"
#include "base/Dispatch.h"
#include "platform/Accessibility.h"

#include <QMutex>
#include <QObject>

#include <chrono>
#include <memory>

namespace ovalin {

/// Accessibility by AT-SPI 2 over D-Bus.
class AtSpiAccessibility final : public Accessibility {
public:
    /// Asks nobody yet. `sessionAddress`: the session bus, empty for none. The dispatch outlives this object.
    explicit AtSpiAccessibility(Dispatch& dispatch, const QString& sessionAddress = sessionBusAddress(),
                                std::chrono::milliseconds deadline = std::chrono::milliseconds(250));
    ~AtSpiAccessibility() override;

    [[nodiscard]] AccessibleSelection selection(const AppWindow& at) override;
    void queryEnabled(std::function<void(bool enabled)> answer) override;
    void enable() override;

private:
    void withSession(std::function<void(const QDBusConnection&)> then);
    [[nodiscard]] AtSpiRef focusedOrRemembered(const AtSpiQuery& query, const AtSpiRef& application);

    Dispatch& dispatch;
    const std::chrono::milliseconds limit;
    const std::shared_ptr<AtSpiBus> bus; // shared with connecting that may still be under way

    QMutex mutex; // of `remembered`
    AtSpiRef remembered;
    QObject context; // what comes back to the main thread ends with it
};

} // namespace ovalin
