#include "ReplaceTarget.h"

#include "capture/BrowserPage.h"

namespace ovalin {

ReplaceTarget replaceTarget(const CaptureContext& context) {
    if (context.capBundle == QLatin1String("com.orlanvex.torvi"))
        return ReplaceTarget::Torvi;
    if (context.capBundle == QLatin1String("com.tamsery.quarn"))
        return ReplaceTarget::Quarn;
    if (context.capURL && context.capURL->startsWith(QLatin1String("file://")))
        return ReplaceTarget::File;
    if (context.capSiteOwned == true && isWebPage(context.capURL))
        return ReplaceTarget::Web;
    return ReplaceTarget::Plain;
}

QString replaceScript(ReplaceTarget target) {
    switch (target) {
    case ReplaceTarget::Torvi:
        return QStringLiteral("ovalin-replace-torvi.sh");
    case ReplaceTarget::Quarn:
        return QStringLiteral("ovalin-replace-quarn.sh");
    case ReplaceTarget::File:
        return QStringLiteral("ovalin-replace-file.sh");
    case ReplaceTarget::Web:
        return QStringLiteral("ovalin-replace-web.sh");
    case ReplaceTarget::Plain:
        break;
    }
    return QStringLiteral("ovalin-transform.sh");
}

} // namespace ovalin
