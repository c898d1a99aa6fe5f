#pragma once

#include "BusLink.h"

#include "base/Dispatch.h"
#include "platform/DesktopSettings.h"

#include <QObject>

#include <memory>
#include <optional>

namespace ovalin {

/// What the desktop's portal says (org.freedesktop.portal.Settings): its colour scheme, and whether its programs move
/// what they show. It is asked in the background, at the start and with each look, so what it says counts from the next
/// look on; no portal is started for it. Main thread.
class PortalSettings final : public DesktopSettings {
public:
    /// `address`: of the bus, when it is not the session's.
    explicit PortalSettings(Dispatch& dispatch, QString address = {});

    [[nodiscard]] DesktopLook look() override { return {dark().value_or(false), false}; }
    [[nodiscard]] bool animations() override { return said.animations; }

    /// Absent where nobody says. Asks for the next time.
    [[nodiscard]] std::optional<bool> dark();

private:
    struct Said {
        int scheme = 0; // 1 dark, 2 light
        bool animations = true;
    };
    static Said ask(BusLink& link, const QString& address);
    void askAgain();

    Dispatch& dispatch;
    QObject context;
    const std::shared_ptr<BusLink> link;
    const QString address;
    Said said;
    bool asking = false;
};

} // namespace ovalin
