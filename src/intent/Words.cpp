#include "Words.h"

namespace ovalin {

namespace {

constexpr char16_t DOTTED_CAPITAL_I = 0x0130; // the one letter whose lower case is longer: i and a combining dot

// Not QString::toLower(): that moves the whole rest of the string for each letter that grows, minutes for a long text.
char16_t* lowerInto(char16_t* out, QStringView text) {
    const char16_t* const in = text.utf16();
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = in[i];
        if (unit < 0x80) {
            *out++ = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit | 0x20) : unit;
        } else if (unit == DOTTED_CAPITAL_I) {
            *out++ = u'i';
            *out++ = 0x0307;
        } else if (QChar::isHighSurrogate(unit) && i + 1 < text.size() && QChar::isLowSurrogate(in[i + 1])) {
            const char32_t lower = QChar::toLower(QChar::surrogateToUcs4(unit, in[++i]));
            *out++ = QChar::highSurrogate(lower);
            *out++ = QChar::lowSurrogate(lower);
        } else {
            *out++ = static_cast<char16_t>(QChar::toLower(static_cast<char32_t>(unit)));
        }
    }
    return out;
}

constexpr bool separates(char16_t unit) { return unit == u' ' || unit == u'\n' || unit == u'\t'; }

} // namespace

NormalisedPrompt::NormalisedPrompt(QStringView prompt) {
    const auto growth = std::count(prompt.utf16(), prompt.utf16() + prompt.size(), DOTTED_CAPITAL_I);
    letters.resize(prompt.size() + growth);
    const char16_t* begin = letters.data();
    const char16_t* end = lowerInto(letters.data(), prompt);
    while (begin < end && QChar::isSpace(*begin))
        ++begin;
    while (begin < end && QChar::isSpace(end[-1]))
        --end;
    trimmed = Word(begin, static_cast<size_t>(end - begin));
}

Word takeWord(Word& rest) {
    const auto begin = std::find_if_not(rest.begin(), rest.end(), separates);
    const auto end = std::find_if(begin, rest.end(), separates);
    const Word word(begin, end);
    rest = Word(end, rest.end());
    return word;
}

Word withoutPunctuation(Word word) {
    const auto isPair = [](char16_t high, char16_t low) {
        return QChar::isHighSurrogate(high) && QChar::isLowSurrogate(low);
    };
    while (!word.empty()) {
        const bool pair = word.size() > 1 && isPair(word[0], word[1]);
        if (!QChar::isPunct(pair ? QChar::surrogateToUcs4(word[0], word[1]) : word[0]))
            break;
        word.remove_prefix(pair ? 2 : 1);
    }
    while (!word.empty()) {
        const size_t last = word.size() - 1;
        const bool pair = last > 0 && isPair(word[last - 1], word[last]);
        if (!QChar::isPunct(pair ? QChar::surrogateToUcs4(word[last - 1], word[last]) : word[last]))
            break;
        word.remove_suffix(pair ? 2 : 1);
    }
    return word;
}

// An apostrophe is punctuation, so a trimmed word never begins with one and the piece is never empty.
Word beforeApostrophe(Word word) { return word.substr(0, word.find(u'\'')); }

} // namespace ovalin
