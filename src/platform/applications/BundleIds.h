#pragma once

#include <QString>

namespace ovalin {

/// The bundle identifier of an application of this desktop: for the browsers that the program knows the one it has
/// there ("com.google.Chrome"), else the WM_CLASS class, else its instance. `desktopId` is the name of its desktop file
/// without ".desktop", or empty. Case does not matter.
[[nodiscard]] QString bundleIdentifier(const QString& instance, const QString& wmClass, const QString& desktopId);

} // namespace ovalin
