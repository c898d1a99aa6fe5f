#pragma once

#include <QString>

namespace ovalin {

/// A browser that the program knows, with all that it is called by: one table for all rooms.
struct Browser {
    const char* bundle;      ///< bundle identifier
    const char* application; ///< its name in scripts; empty when it cannot be asked for its page
    const char* windows;     ///< WM_CLASS classes and desktop files, lower case, with blanks between
    const char* programs;    ///< file names of its executables, likewise
    const char* family;      ///< of the Chromium family: how the identifiers of its editions begin; else null
};

/// By its exact bundle identifier; null when it is none of the table. Likewise all others.
[[nodiscard]] const Browser* browserWithBundle(const QString& bundleId);
/// By a WM_CLASS part or the name of a desktop file; case does not matter.
[[nodiscard]] const Browser* browserOfWindow(const QString& name);
/// By its name in scripts.
[[nodiscard]] const Browser* browserNamed(const QString& application);

/// Whether the browser has an executable of this file name. Others may use the same: a Chromium may be called "chrome".
[[nodiscard]] bool mayRunAs(const Browser& browser, const QString& program);

/// Whether the bundle identifier belongs to an edition of a browser of the Chromium family.
[[nodiscard]] bool inChromiumFamily(const QString& bundleId);

} // namespace ovalin
