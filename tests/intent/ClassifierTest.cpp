#include "intent/IntentClassifier.h"
#include "intent/Phrases.h"
#include "support/Testing.h"

#include <random>

namespace ovalin {
void PrintTo(const IntentScore& got, std::ostream* out) { *out << static_cast<int>(got.intent) << '/' << got.score; }
} // namespace ovalin

namespace {

constexpr auto ASK = OvalinIntent::ask;
constexpr auto DO = OvalinIntent::doIt;
constexpr auto NEUTRAL = OvalinIntent::neutral;

QString lowered(QStringView text) { return QString::fromStdU16String(std::u16string(NormalisedPrompt(text).text())); }

} // namespace

TEST(Classifier, EveryWordOfTheListsHasItsWeight) {
    const struct {
        QString prompt; ///< with each of the words for %1
        int score;
        QString words;
        bool hasSelection = false;
    } rows[] = {
        {u"%1?"_s, 3, u"x"_s},
        {u"%1 what"_s, 2, u"hey|ok|okay|torvi|please|um|uh|so"_s},
        {u"%1 it"_s, 2, u"what|whats|who|whos|where|wheres|when|whens|why|whys|how|hows"_s},
        {u"%1 it"_s, 2, u"which|is|are|was|were|am|do|does|did|should|shall|any"_s},
        {u"%1 it"_s, -3, u"send|draft|write|email|remind|save|note|add|create|make|schedule"_s},
        {u"%1 it"_s, -3, u"post|put|log|file|book|set|turn|convert|capture|queue|order"_s},
        {u"%1 it"_s, -2, u"rewrite|reword|rephrase|fix|tighten|shorten|expand|translate|proofread|polish"_s, true},
        {u"%1 it"_s, 0, u"rewrite|reword|rephrase|fix|tighten|shorten|expand|translate|proofread|polish"_s},
        {u"can you %1 it"_s, 3, u"tell|show|give|find|help|answer"_s},
        {u"can you please %1 it"_s, 4, u"explain"_s}, // with its weight as a phrase
        {u"%1 you send it"_s, -4, u"can|could|will|would"_s},
        {u"can you %1 it"_s, -4, u"send|please send|order|rewrite|please rewrite|polish"_s},
        {u"x %1"_s, 2, u"difference between|a vs b|alternative|cheaper|cheapest|better than|is this true"_s},
        {u"x %1"_s, 2, u"your take|do you think|tell me|look up"_s},
        {u"x %1"_s, 1, u"explain|summarize this"_s},
        {u"x %1"_s, -3, u"remind me|ereader|e-reader|my reader|my x4|to the roadmap"_s},
        {u"x %1"_s, -2, u"later|tonight|tomorrow|next week"_s},
        {u"x %1"_s, -2, u"monday|tuesday|wednesday|thursday|friday|saturday|sunday"_s},
    };
    for (const auto& row : rows) {
        for (const QString& word : row.words.split(u'|')) {
            const IntentScore got = classifyIntent(row.prompt.arg(word), row.hasSelection);
            EXPECT_EQ(got.score, row.score) << row.prompt.arg(word).toStdString();
            EXPECT_EQ(got.intent, row.score >= 2 ? ASK : row.score <= -2 ? DO : NEUTRAL) << row.score;
        }
    }
}

TEST(Classifier, WordingDecides) {
    struct Row {
        QString prompt;
        bool hasSelection;
        IntentScore expected;
        QString head;
    };
    const Row rows[] = {
        {u"what's the difference between these two?"_s, false, {ASK, 7}, u"what"_s},
        {u"hey torvi remind me tomorrow to call the bank"_s, false, {DO, -8}, u"remind"_s},
        // Only fillers, only white space, only punctuation.
        {u""_s, false, {NEUTRAL, 0}, u""_s},
        {u" \t\r\n\u00a0\u2029"_s, true, {NEUTRAL, 0}, u""_s},
        {u"Um, OK... so!"_s, false, {NEUTRAL, 0}, u""_s},
        {u"ok tomorrow"_s, false, {DO, -2}, u"tomorrow"_s},
        {u"?"_s.repeated(3) + u" ok"_s, false, {NEUTRAL, 0}, u""_s},
        // A polite request needs its verb, and its head is no opener.
        {u"can you"_s, false, {NEUTRAL, 0}, u"can"_s},
        {u"can you please"_s, false, {NEUTRAL, 0}, u"can"_s},
        {u"will you be there"_s, false, {NEUTRAL, 0}, u"will"_s},
        {u"so, please could YOU help"_s, false, {ASK, 3}, u"could"_s},
        {u"can you's send it"_s, false, {NEUTRAL, 0}, u"can"_s},
        {u"can - you - send it"_s, false, {DO, -4}, u"can"_s},
        // Punctuation goes from the ends of a word only, whatever script it is from.
        {u"«What’s» up"_s, false, {NEUTRAL, 0}, u"what’s"_s},
        {u"¿why"_s, false, {ASK, 2}, u"why"_s},
        {u"why\U00010100\U0001e95e"_s, false, {ASK, 2}, u"why"_s},
        {u"why$"_s, false, {NEUTRAL, 0}, u"why$"_s},
        {u"''who''s''"_s, false, {ASK, 2}, u"who"_s},
        {u"— what is it"_s, false, {ASK, 2}, u""_s},
        {u"e-mail him"_s, false, {NEUTRAL, 0}, u"e-mail"_s},
        {u"hey-what"_s, false, {NEUTRAL, 0}, u"hey-what"_s},
        {u"whát"_s, false, {NEUTRAL, 0}, u"whát"_s},
        {u"wha\u0301t"_s, false, {NEUTRAL, 0}, u"wha\u0301t"_s},
        // Letters change case by Unicode's rules, not by those of the user's language.
        {u"WHICH İS"_s, false, {ASK, 2}, u"which"_s},
        {u"İS it"_s, false, {NEUTRAL, 0}, u"i\u0307s"_s},
        {u"ıs it"_s, false, {NEUTRAL, 0}, u"ıs"_s},
        // Only blank, line feed and tab separate.
        {u"ok\twhat\nnow"_s, false, {ASK, 2}, u"what"_s},
        {u"what\ris"_s, false, {NEUTRAL, 0}, u"what\ris"_s},
        {u"what\r\nis"_s, false, {NEUTRAL, 0}, u"what\r"_s},
        {u"what\u00a0is"_s, false, {NEUTRAL, 0}, u"what\u00a0is"_s},
        {QString::fromUtf16(u"what\0is it", 10), false, {NEUTRAL, 0}, QString::fromUtf16(u"what\0is", 7)},
        {u"what"_s + QChar(0xD800), false, {NEUTRAL, 0}, u"what"_s + QChar(0xD800)},
        // Phrases are looked for everywhere, also inside words, and count once.
        {u"the collateral"_s, false, {DO, -2}, u"the"_s},
        {u"mondays, later and later"_s, false, {DO, -4}, u"mondays"_s},
        {u"a vs"_s, false, {NEUTRAL, 0}, u"a"_s},
        {u"a\tvs b"_s, false, {NEUTRAL, 0}, u"a"_s},
        {u"cheapercheapest"_s, false, {ASK, 4}, u"cheapercheapest"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(classifyIntent(row.prompt, row.hasSelection), row.expected) << row.prompt.toStdString();
        EXPECT_EQ(intentHeadToken(row.prompt), row.head) << row.prompt.toStdString();
    }
}

TEST(Classifier, TheLexiconMovesABorderlinePromptEitherWay) {
    IntentLexicon lexicon;
    lexicon.heads[u"compare"_s] = {{u"ask"_s, 4}};
    lexicon.heads[u"prune"_s] = {{u"do"_s, 9}};
    lexicon.heads[u"can"_s] = {{u"ask"_s, 1}};
    EXPECT_EQ(classifyIntent(u"Compare's these", false, &lexicon), (IntentScore{ASK, 2}));
    EXPECT_EQ(classifyIntent(u"compare these", false), (IntentScore{NEUTRAL, 0}));
    EXPECT_EQ(classifyIntent(u"prune it", false, &lexicon), (IntentScore{DO, -2}));
    EXPECT_EQ(classifyIntent(u"can you send it", false, &lexicon), (IntentScore{DO, -3}));
    lexicon.heads[u"prune"_s] = {{u"do"_s, 2}};
    EXPECT_EQ(classifyIntent(u"prune it", false, &lexicon), (IntentScore{NEUTRAL, -1}));
}

TEST(Classifier, LowerCaseIsUnicodesForEveryLetter) {
    for (char32_t letter = 0; letter < 0x20000; ++letter) {
        if (QChar::isSurrogate(letter))
            continue; // half a letter has no case, and we keep it
        // Between letters, for white space at the ends would go.
        const QString text = u'A' + QString::fromUcs4(&letter, 1) + u'Z';
        ASSERT_EQ(lowered(text), text.toLower()) << "U+" << std::hex << static_cast<uint32_t>(letter);
    }
}

TEST(Classifier, PhraseSearchIsPlainSubstringSearch) {
    std::mt19937 random(20261116);
    const auto below = [&random](size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(random); };
    for (int round = 0; round < 3000; ++round) {
        // Heads and tails of phrases glued together: near misses, overlaps and hits at the very ends.
        std::u16string text;
        for (size_t piece = below(12); piece > 0; --piece) {
            const Word phrase = PHRASES[below(PHRASES.size())].text;
            const size_t from = below(3) == 0 ? below(phrase.size()) : 0;
            text += phrase.substr(from, below(2) == 0 ? Word::npos : below(phrase.size()));
            if (below(8) == 0)
                text += static_cast<char16_t>(below(0x10000));
        }
        int expected = 0;
        for (const Phrase& phrase : PHRASES)
            expected += text.find(phrase.text) != std::u16string::npos ? phrase.weight : 0;
        ASSERT_EQ(phraseWeight(text), expected) << QString::fromStdU16String(text).toStdString();
    }
}

TEST(Classifier, AMegabyteOfAnythingIsReadOnce) {
    // The test's own time limit is what a quadratic step would run into.
    const qsizetype megabyte = 1'000'000;
    EXPECT_EQ(classifyIntent(QString(megabyte, u'İ'), true), (IntentScore{NEUTRAL, 0}));
    EXPECT_EQ(intentHeadToken(QString(megabyte, u'İ')).size(), 2 * megabyte);
    EXPECT_EQ(classifyIntent(u"um, "_s.repeated(megabyte / 4) + u"why"_s, true), (IntentScore{ASK, 2}));
    EXPECT_EQ(classifyIntent(u"difference betwee"_s.repeated(megabyte / 17) + u"n?"_s, true), (IntentScore{ASK, 5}));
    EXPECT_EQ(intentHeadToken(u"- "_s.repeated(megabyte / 2)), QString());
    EXPECT_EQ(intentHeadToken(QString(megabyte, u'\'') + u"x"_s), u"x"_s);
    EXPECT_EQ(classifyIntent(QString(megabyte, u' '), true), (IntentScore{NEUTRAL, 0}));
}
