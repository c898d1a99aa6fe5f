#pragma once

#include <QString>

namespace ovalin {

/// `words` after `base`, with one space between unless the base is empty or ends in one; no words change nothing.
[[nodiscard]] QString withWords(const QString& base, const QString& words);

/// Whether a recogniser that went on from `previous` to `text` within one utterance has started over without saying
/// so: a hypothesis of some length that shrinks to less than half. Pure.
[[nodiscard]] bool isSilentReset(const QString& previous, const QString& text);

} // namespace ovalin
