#include "SelectionWatch.h"

namespace ovalin {

namespace {

// The application gets this long to update its selection after the key or the button went up.
constexpr std::chrono::milliseconds REFRESH_DELAY{180};

} // namespace

SelectionWatch::SelectionWatch(SelectionHints& theHints, Dispatch& theDispatch, Selection& theSelection,
                               CaptureContext& theContext)
    : hints(theHints)
    , dispatch(theDispatch)
    , selection(theSelection)
    , context(theContext)
    , hint(hints.onMaybeChanged([this] { scheduleSelectionRefresh(); })) {}

SelectionWatch::~SelectionWatch() { hints.removeHint(hint); }

void SelectionWatch::scheduleSelectionRefresh() {
    if (selectionResolveInFlight || context.leftAlone)
        return;
    selectionResolveInFlight = true;
    const bool mayUseClipboard = context.selectionViaClipboard || isChromiumFamily(context.capBundle);
    const auto read = [&from = selection, subject = Subject(context), mayUseClipboard] {
        return mayUseClipboard ? from.axSelectionOrGrab(subject) : from.axSelection(subject);
    };
    dispatch.after(REFRESH_DELAY, this, [this, read] {
        dispatch.inBackground(Queue::UserInitiated, this, read, [this](const SelectedText& found) {
            selectionResolveInFlight = false;
            if (found.leftAlone)
                leftAlone();
            if (found.text.isEmpty())
                return;
            context.capTextWindow = found.window; // the same words may be selected in another one now
            if (found.text != context.capText)
                updateCaptureUI(found.text);
        });
    });
}

} // namespace ovalin
