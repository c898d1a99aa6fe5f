#include "AccessibilityOffer.h"

#include "UserDefaults.h"

#include "base/Log.h"
#include "platform/Accessibility.h"
#include "platform/Notifier.h"

using namespace Qt::StringLiterals;

namespace ovalin {

void offerAccessibility(Accessibility& accessibility, Notifier& notifier, UserDefaults& defaults) {
    const QString offered = u"ovalinAccessibilityOffered"_s;
    accessibility.queryEnabled([&accessibility, &notifier, &defaults, offered](bool enabled) {
        if (enabled || defaults.isSet(offered))
            return;
        defaults.set(offered);
        logLine(u"Ovalin: accessibility is off on this desktop — selections come from PRIMARY and the copy fallback"_s);
        notifier.notify({u"Let Ovalin see selected text?"_s,
                         u"Accessibility is turned off on this desktop. Turned on, Ovalin reads the selected text of "
                         "more applications; some have to be started again. Everything else works without it."_s,
                         u"Turn on"_s, [&accessibility] { accessibility.enable(); }});
    });
}

} // namespace ovalin
