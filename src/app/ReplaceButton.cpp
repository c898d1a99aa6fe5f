#include "ReplaceButton.h"

#include "capture/BrowserPage.h"

using namespace Qt::StringLiterals;

namespace ovalin {

ReplaceButton replaceButtonFor(const CaptureContext& context, const QString& selection, bool hidden) {
    const bool ownScripts = context.capBundle == QLatin1String("com.orlanvex.torvi") ||
                            context.capBundle == QLatin1String("com.tamsery.quarn");
    const bool offered = ownScripts || !isWebPage(context.capURL) || context.capSiteOwned == true;
    return {selection.isEmpty() ? u"Insert"_s : u"Replace"_s, hidden || !offered};
}

} // namespace ovalin
