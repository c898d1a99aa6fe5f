#pragma once

#include "platform/dbus/BusLink.h"

#include <QImage>
#include <QString>
#include <QVariantMap>

#include <chrono>

namespace ovalin {

/// Pictures of a window's own pixels, whatever lies over it (org.kde.KWin.ScreenShot2): KWin takes them for programs
/// whose desktop file asks for that. Worker threads.
class KwinPictures {
public:
    /// `window`: its handle. Null where KWin takes none, or not within `patience`.
    [[nodiscard]] QImage picture(const QString& window, std::chrono::milliseconds patience = std::chrono::seconds(2));

private:
    BusLink link{QStringLiteral("ovalin-kwin")};
};

/// The picture that KWin describes by this and writes as these bytes; null when the two do not fit together. Pure.
[[nodiscard]] QImage kwinPicture(const QVariantMap& described, const QByteArray& bytes);

} // namespace ovalin
