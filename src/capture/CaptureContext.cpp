#include "CaptureContext.h"

namespace ovalin {

std::function<SelectedText()> currentFocus(Selection& selection, const CaptureContext& context) {
    if (context.leftAlone)
        return [] { return SelectedText(); };
    return [&selection, subject = Subject(context), stored = context.capText, window = context.capTextWindow] {
        SelectedText live = selection.axSelection(subject);
        if (!live.text.isEmpty())
            return live;
        return SelectedText{stored, live.source, live.focus, window ? window : live.window, live.leftAlone};
    };
}

} // namespace ovalin
