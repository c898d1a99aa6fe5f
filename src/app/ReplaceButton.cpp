#include "ReplaceButton.h"

#include "base/Text.h"
#include "capture/BrowserPage.h"
#include "transform/LiteralReplacement.h"
#include "transform/ReplaceTarget.h"

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LOOKED_AT = 1000; // of the prompt: more of it decides nothing

QString outcomeOf(const QString& prompt, bool selected, bool editsTheSource) {
    if (prompt.isEmpty())
        return {};
    if (editsTheSource)
        return u"Changes the source of what is shown here, at the selected text"_s;
    const auto literal = literalReplacement(prompt);
    if (!literal)
        return selected ? u"Gives the selected text to the agent, which changes it as you say"_s
                        : u"The agent writes what you ask for, and it is typed at your cursor"_s;
    const QString words = literal->size() > 40 ? firstCharacters(*literal, 40) + u"…"_s : *literal;
    return (selected ? u"Puts these words in place of the selected text, as they stand: “%1”"_s
                     : u"Puts these words in at your cursor, as they stand: “%1”"_s)
        .arg(words);
}

} // namespace

ReplaceButton replaceButtonFor(const CaptureContext& context, const QString& prompt, bool hidden) {
    const bool ownScripts = context.capBundle == QLatin1String("com.orlanvex.torvi") ||
                            context.capBundle == QLatin1String("com.tamsery.quarn");
    const bool offered = ownScripts || !isWebPage(context.capURL) || context.capSiteOwned == true;
    const bool selected = !context.capText.isEmpty();
    return {selected ? u"Replace"_s : u"Insert"_s, hidden || !offered,
            outcomeOf(prompt.left(LOOKED_AT).trimmed(), selected, editsSource(replaceTarget(context)))};
}

} // namespace ovalin
