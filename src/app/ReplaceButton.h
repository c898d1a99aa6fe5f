#pragma once

#include "capture/CaptureContext.h"

namespace ovalin {

/// How the Replace button is shown.
struct ReplaceButton {
    QString title;
    bool hidden = false;
    QString outcome; ///< what a press would do with the words in the prompt; empty without any
    bool operator==(const ReplaceButton&) const = default;
};

/// "Replace" with a selection, "Insert" without. On a web page only when the page's source is the user's own; always in
/// the two applications that have replace scripts of their own. Pure.
[[nodiscard]] ReplaceButton replaceButtonFor(const CaptureContext& context, const QString& prompt, bool hidden);

} // namespace ovalin
