#include "ReplaceTarget.h"

#include "capture/BrowserPage.h"

using namespace Qt::StringLiterals;

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
        return u"ovalin-replace-torvi.sh"_s;
    case ReplaceTarget::Quarn:
        return u"ovalin-replace-quarn.sh"_s;
    case ReplaceTarget::File:
        return u"ovalin-replace-file.sh"_s;
    case ReplaceTarget::Web:
        return u"ovalin-replace-web.sh"_s;
    case ReplaceTarget::Plain:
        break;
    }
    return u"ovalin-transform.sh"_s;
}

} // namespace ovalin
