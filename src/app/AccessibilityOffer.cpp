#include "AccessibilityOffer.h"

#include "UserDefaults.h"

#include "base/Log.h"
#include "platform/Accessibility.h"
#include "platform/Notifier.h"

namespace ovalin {

void offerAccessibility(Accessibility& accessibility, Notifier& notifier, UserDefaults& defaults) {
    const QString offered = QStringLiteral("ovalinAccessibilityOffered");
    accessibility.queryEnabled([&accessibility, &notifier, &defaults, offered](bool enabled) {
        if (enabled || defaults.isSet(offered))
            return;
        defaults.set(offered);
        logLine(QStringLiteral(
            "Ovalin: accessibility is off on this desktop — selections come from PRIMARY and the copy fallback"));
        notifier.notify(
            {QStringLiteral("Let Ovalin see selected text?"),
             QStringLiteral("Accessibility is turned off on this desktop. Turned on, Ovalin reads the selected text of "
                            "more applications; some have to be started again. Everything else works without it."),
             QStringLiteral("Turn on"), [&accessibility] { accessibility.enable(); }});
    });
}

} // namespace ovalin
