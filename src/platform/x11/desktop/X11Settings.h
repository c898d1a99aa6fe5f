#pragma once

#include "base/Dispatch.h"
#include "platform/DesktopSettings.h"
#include "platform/dbus/BusLink.h"

#include <QByteArray>
#include <QHash>
#include <QVariant>

#include <memory>

namespace ovalin {

/// The XSETTINGS of the desktop (freedesktop.org, Xsettings 0.5), two round trips to the X server, and over them the
/// colour scheme of its portal (org.freedesktop.portal.Settings). That is asked in the background, so what it says
/// counts from the next look on; no portal is started for it.
class X11Settings final : public DesktopSettings {
public:
    explicit X11Settings(Dispatch& dispatch);

    [[nodiscard]] DesktopLook look() override;
    [[nodiscard]] bool animations() override;

private:
    [[nodiscard]] QHash<QByteArray, QVariant> settings() const;
    void askPortal();

    Dispatch& dispatch;
    QObject context;
    const std::shared_ptr<BusLink> link;
    quint32 selection = 0, property = 0; // atoms
    int scheme = 0;                      // of the portal: 1 dark, 2 light
    bool asking = false;
};

/// The numbers and texts of an XSETTINGS property by their names; what is cut short ends it. Pure.
[[nodiscard]] QHash<QByteArray, QVariant> parseXSettings(const QByteArray& bytes);

/// What they say of the looks. Pure.
[[nodiscard]] DesktopLook lookOf(const QHash<QByteArray, QVariant>& settings);

} // namespace ovalin
