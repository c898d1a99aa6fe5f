#pragma once

#include <QStringList>

#include <functional>

namespace ovalin {

/// What was said, an utterance each, as it is written behind `base`: a capital where a sentence begins, a mark where
/// one ends; the words stay what they are. An utterance ends at a pause, which need not be the end of a sentence: then
/// its last word or the first of the next one tells. A text that `standsAlone`, which may be put into a document as it
/// is, gets neither, unless it is a question. English. Pure.
[[nodiscard]] QString asSentences(const QString& base, const QStringList& said,
                                  const std::function<bool(const QString& text)>& standsAlone);

} // namespace ovalin
