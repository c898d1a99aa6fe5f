#pragma once

#include <QStringView>
#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <string_view>

namespace ovalin {

using Word = std::u16string_view;

// Lower case; a word is in a list when it is equal to a member, code unit by code unit.
inline constexpr auto FILLERS = std::to_array<Word>({u"hey", u"ok", u"okay", u"torvi", u"please", u"um", u"uh", u"so"});
inline constexpr auto ASK_OPENERS = std::to_array<Word>({
    u"what",  u"whats", u"who", u"whos", u"where", u"wheres", u"when", u"whens", u"why", u"whys",   u"how",   u"hows",
    u"which", u"is",    u"are", u"was",  u"were",  u"am",     u"do",   u"does",  u"did", u"should", u"shall", u"any",
});
inline constexpr auto DO_VERBS = std::to_array<Word>({
    u"send", u"draft", u"write", u"email", u"remind", u"save", u"note", u"add",     u"create",  u"make",  u"schedule",
    u"post", u"put",   u"log",   u"file",  u"book",   u"set",  u"turn", u"convert", u"capture", u"queue", u"order",
});
inline constexpr auto TRANSFORM_VERBS =
    std::to_array<Word>({u"rewrite", u"reword", u"rephrase", u"fix", u"tighten", u"shorten", u"expand", u"translate",
                         u"proofread", u"polish"});
inline constexpr auto POLITE_ASK_HEADS =
    std::to_array<Word>({u"tell", u"explain", u"show", u"give", u"find", u"help", u"answer"});
inline constexpr auto MODAL_OPENERS = std::to_array<Word>({u"can", u"could", u"will", u"would"});

template <size_t size>
[[nodiscard]] constexpr bool isIn(const std::array<Word, size>& list, Word word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

/// A prompt in lower case (Unicode's default mapping, no locale), without white space and line ends at both ends.
/// Keeps its own copy of the letters, on the stack for prompts of usual length. Linear in the prompt's length.
class NormalisedPrompt {
public:
    explicit NormalisedPrompt(QStringView prompt);
    NormalisedPrompt(const NormalisedPrompt&) = delete;
    NormalisedPrompt& operator=(const NormalisedPrompt&) = delete;

    [[nodiscard]] Word text() const { return trimmed; }

private:
    QVarLengthArray<char16_t, 512> letters;
    Word trimmed;
};

/// Takes the next word off the front of `rest`; empty when there is none. Words end at blanks, line feeds and tabs; a
/// carriage return does not end one.
[[nodiscard]] Word takeWord(Word& rest);

/// The word without the punctuation (Unicode categories P*) at its ends; what stands inside it stays.
[[nodiscard]] Word withoutPunctuation(Word word);

/// The part of a trimmed word before its first apostrophe (U+0027): "what's" gives "what".
[[nodiscard]] Word beforeApostrophe(Word word);

} // namespace ovalin
