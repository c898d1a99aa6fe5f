#pragma once

#include "IntentClassifier.h"

#include <optional>

namespace ovalin {

/// What the prediction has to know about the panel.
struct ModeState {
    bool askMode = false;
    bool modeLockedByUser = false; ///< the user chose the mode by hand in this opening
    bool hasSelection = false;
};

struct ModeInference {
    OvalinIntent predicted = OvalinIntent::neutral;
    std::optional<bool> askMode; ///< the mode to change to; absent: leave it

    bool operator==(const ModeInference&) const = default;
};

/// Predicts the mode from the prompt as it stands; absent when it is not time to: the mode is the user's own choice,
/// the prompt is empty, or, unless `force`, its last character ends no word. Pure; any thread.
[[nodiscard]] std::optional<ModeInference> inferMode(QStringView prompt, bool force, const ModeState& state,
                                                     const IntentLexicon& lexicon);

} // namespace ovalin
