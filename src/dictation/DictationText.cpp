#include "DictationText.h"

#include "base/Text.h"

namespace ovalin {

QString withWords(const QString& base, const QString& words) {
    if (words.isEmpty())
        return base;
    const bool apart = base.isEmpty() || base.endsWith(QLatin1Char(' '));
    return apart ? base + words : base + QLatin1Char(' ') + words;
}

bool isSilentReset(const QString& previous, const QString& text) {
    constexpr qsizetype SHORTEST = 12; // characters; below that a recogniser merely changes its mind
    const qsizetype before = characterCount(previous);
    return before >= SHORTEST && before > 2 * characterCount(text);
}

} // namespace ovalin
