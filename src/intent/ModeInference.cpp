#include "ModeInference.h"

namespace ovalin {

std::optional<ModeInference> inferMode(QStringView prompt, bool force, const ModeState& state,
                                       const IntentLexicon& lexicon) {
    if (state.modeLockedByUser || prompt.isEmpty())
        return {};
    // Typing inside a word never changes the mode.
    if (!force && !QStringView(u" !,.?").contains(prompt.back()))
        return {};
    ModeInference inference{classifyIntent(prompt, state.hasSelection, &lexicon).intent, {}};
    if (inference.predicted == OvalinIntent::ask && !state.askMode)
        inference.askMode = true;
    if (inference.predicted == OvalinIntent::doIt && state.askMode)
        inference.askMode = false;
    return inference;
}

} // namespace ovalin
