#include "BundleIds.h"

#include "platform/Browsers.h"

namespace ovalin {

QString bundleIdentifier(const QString& instance, const QString& wmClass, const QString& desktopId) {
    // The class first: Chromium puts the path of a profile into the instance.
    for (const QString& name : {wmClass, desktopId, instance}) {
        if (const Browser* browser = browserOfWindow(name))
            return QString::fromLatin1(browser->bundle);
    }
    return wmClass.isEmpty() ? instance : wmClass;
}

} // namespace ovalin
