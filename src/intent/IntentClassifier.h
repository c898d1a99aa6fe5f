#pragma once

#include "IntentLexicon.h"

#include <QString>

namespace ovalin {

/// What a prompt asks for.
enum class OvalinIntent {
    doIt,    ///< an action: route it
    ask,     ///< a question: answer it in the chat
    neutral, ///< no clear signal: leave the mode as it is
};

struct IntentScore {
    OvalinIntent intent = OvalinIntent::neutral;
    int score = 0;

    bool operator==(const IntentScore&) const = default;
};

/// Guesses from the wording whether the prompt is a question or a task: the sum of what its first words, a question
/// mark, some phrases and the learned weight of its head word say. Any thread; linear in the prompt's length, without
/// heap memory for prompts of usual length.
[[nodiscard]] IntentScore classifyIntent(QStringView text, bool hasSelection, const IntentLexicon* lexicon = nullptr);

/// The word under which the lexicon counts the prompt: its first word that is no filler, in lower case, without
/// punctuation at its ends and up to its first apostrophe. Empty when there is none, or when that word is punctuation
/// only. Any thread.
[[nodiscard]] QString intentHeadToken(QStringView text);

} // namespace ovalin
