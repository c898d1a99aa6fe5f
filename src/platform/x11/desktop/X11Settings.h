#pragma once

#include "base/Dispatch.h"
#include "platform/DesktopSettings.h"
#include "platform/dbus/PortalSettings.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QHash>
#include <QVariant>

namespace ovalin {

/// The XSETTINGS of the desktop (freedesktop.org, Xsettings 0.5), read at the start and when they change, so that an
/// opening asks nobody; and over them the colour scheme of its portal.
class X11Settings final : public DesktopSettings, public QAbstractNativeEventFilter {
public:
    explicit X11Settings(Dispatch& dispatch);
    ~X11Settings() override;

    [[nodiscard]] DesktopLook look() override;
    [[nodiscard]] bool animations() override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    void read();

    Dispatch& dispatch;
    QObject context;
    PortalSettings portal;
    quint32 selection = 0, property = 0, announced = 0; // atoms
    quint32 owner = 0;                                  // of the selection: the settings are a property of that window
    QHash<QByteArray, QVariant> settings;
    bool readPending = false;
};

/// The numbers and texts of an XSETTINGS property by their names; what is cut short ends it. Pure.
[[nodiscard]] QHash<QByteArray, QVariant> parseXSettings(const QByteArray& bytes);

/// What they say of the looks. Pure.
[[nodiscard]] DesktopLook lookOf(const QHash<QByteArray, QVariant>& settings);

} // namespace ovalin
