#include "IntentClassifier.h"

#include "Phrases.h"
#include "Words.h"

namespace ovalin {

namespace {

/// The first words after the fillers; no rule looks further than the fourth.
struct Opening {
    std::array<Word, 4> tokens;
    size_t count = 0;
};

Opening openingOf(Word text) {
    Opening opening;
    while (opening.count < opening.tokens.size()) {
        const Word word = takeWord(text);
        if (word.empty())
            break;
        const Word token = withoutPunctuation(word);
        const bool leadingFiller = opening.count == 0 && isIn(FILLERS, token);
        if (!token.empty() && !leadingFiller)
            opening.tokens[opening.count++] = token;
    }
    return opening;
}

bool isPoliteRequest(const Opening& opening) {
    return opening.count >= 3 && isIn(MODAL_OPENERS, opening.tokens[0]) && opening.tokens[1] == u"you";
}

int politeScore(const Opening& opening) {
    const bool pleaseBetween = opening.tokens[2] == u"please" && opening.count > 3;
    const Word verb = opening.tokens[pleaseBetween ? 3 : 2];
    if (isIn(POLITE_ASK_HEADS, verb))
        return 3;
    return isIn(DO_VERBS, verb) || isIn(TRANSFORM_VERBS, verb) ? -4 : 0;
}

int headScore(Word head, bool hasSelection) {
    int score = 0;
    if (isIn(ASK_OPENERS, head))
        score += 2;
    if (isIn(DO_VERBS, head))
        score -= 3;
    if (hasSelection && isIn(TRANSFORM_VERBS, head))
        score -= 2;
    return score;
}

OvalinIntent decide(int score) {
    if (score >= 2)
        return OvalinIntent::ask;
    return score <= -2 ? OvalinIntent::doIt : OvalinIntent::neutral;
}

} // namespace

IntentScore classifyIntent(QStringView text, bool hasSelection, const IntentLexicon* lexicon) {
    const NormalisedPrompt prompt(text);
    const Opening opening = openingOf(prompt.text());
    if (opening.count == 0)
        return {};

    const Word head = beforeApostrophe(opening.tokens[0]);
    int score = isPoliteRequest(opening) ? politeScore(opening) : headScore(head, hasSelection);
    if (prompt.text().find(u'?') != Word::npos)
        score += 3;
    score += phraseWeight(prompt.text());
    if (lexicon)
        score += lexicon->weightFor(head);
    return {decide(score), score};
}

QString intentHeadToken(QStringView text) {
    const NormalisedPrompt prompt(text);
    Word rest = prompt.text();
    Word token;
    do {
        const Word word = takeWord(rest);
        if (word.empty())
            return {};
        token = withoutPunctuation(word);
    } while (isIn(FILLERS, token));
    const Word head = beforeApostrophe(token);
    return QString::fromUtf16(head.data(), static_cast<qsizetype>(head.size()));
}

} // namespace ovalin
