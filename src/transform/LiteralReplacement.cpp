#include "LiteralReplacement.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace ovalin {

namespace {

// "uppercase" and "lowercase" are often the whole instruction.
constexpr std::array INSTRUCTION_PREFIXES = {
    "make ",       "fix ",      "rewrite ",  "shorten ",   "lengthen ",  "translate ", "convert ", "turn ",
    "improve ",    "tighten ",  "expand ",   "summarize ", "summarise ", "proofread ", "polish ",  "simplify ",
    "capitalize ", "uppercase", "lowercase", "correct ",   "reword ",    "rephrase ",  "condense "};

constexpr qsizetype MOST_LITERAL_WORDS = 8;

bool isQuote(QChar character) {
    return character == u'"' || character == u'\'' || character == u'\u201C' || character == u'\u201D';
}

bool isBlank(QChar character) { return character == u'\t' || character.category() == QChar::Separator_Space; }

} // namespace

QString stripQuotes(const QString& text) {
    const auto first = std::ranges::find_if_not(text, isBlank);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isBlank).base();
    const QString stripped(first, last - first);
    const bool quoted = stripped.size() >= 2 && isQuote(stripped.front()) && isQuote(stripped.back());
    return quoted ? stripped.sliced(1, stripped.size() - 2) : stripped;
}

std::optional<QString> literalReplacement(const QString& instruction) {
    const QString text = instruction.trimmed();
    // (*ANY): a dot matches no line end, of whatever kind.
    static const QRegularExpression naming(
        QStringLiteral(
            R"((*ANY)^(?:replace|change|rename|swap|switch|set)(?:\s+(?:it|this|that|text))?\s+(?:with|to|for)\s+(.+)$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    if (const auto match = naming.match(text); match.hasMatch())
        return stripQuotes(match.captured(1));
    const QString lower = text.toLower();
    if (std::ranges::any_of(INSTRUCTION_PREFIXES,
                            [&](const char* prefix) { return lower.startsWith(QLatin1String(prefix)); }))
        return {};
    if (text.split(u' ', Qt::SkipEmptyParts).size() > MOST_LITERAL_WORDS)
        return {};
    return stripQuotes(text);
}

} // namespace ovalin
