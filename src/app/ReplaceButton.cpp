#include "ReplaceButton.h"

#include "capture/BrowserPage.h"

namespace ovalin {

ReplaceButton replaceButtonFor(const CaptureContext& context, const QString& selection, bool hidden) {
    const bool ownScripts = context.capBundle == QLatin1String("com.orlanvex.torvi") ||
                            context.capBundle == QLatin1String("com.tamsery.quarn");
    const bool offered = ownScripts || !isWebPage(context.capURL) || context.capSiteOwned == true;
    return {selection.isEmpty() ? QStringLiteral("Insert") : QStringLiteral("Replace"), hidden || !offered};
}

} // namespace ovalin
