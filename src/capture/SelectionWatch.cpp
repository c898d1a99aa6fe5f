#include "SelectionWatch.h"

namespace ovalin {

namespace {

// The application gets this long to update its selection after the key or the button went up.
constexpr std::chrono::milliseconds REFRESH_DELAY{180};

} // namespace

bool changesSelection(const EventMonitors::KeyUp& key) {
    return (key.key == EventMonitors::Key::Arrow && key.shift) || (key.key == EventMonitors::Key::A && key.command);
}

SelectionWatch::SelectionWatch(EventMonitors& theMonitors, Dispatch& theDispatch, Selection& theSelection,
                               CaptureContext& theContext)
    : monitors(theMonitors)
    , dispatch(theDispatch)
    , selection(theSelection)
    , context(theContext) {}

SelectionWatch::~SelectionWatch() { stopSelectionWatch(); }

void SelectionWatch::startSelectionWatch(const QUuid& token) {
    stopSelectionWatch();
    selectionMonitors.push_back(monitors.onLeftMouseUp([this, token] { scheduleSelectionRefresh(token); }));
    selectionMonitors.push_back(monitors.onKeyUp([this, token](const EventMonitors::KeyUp& key) {
        if (changesSelection(key))
            scheduleSelectionRefresh(token);
    }));
}

void SelectionWatch::stopSelectionWatch() {
    for (const EventMonitors::Handle handle : selectionMonitors)
        monitors.removeMonitor(handle);
    selectionMonitors.clear();
}

void SelectionWatch::scheduleSelectionRefresh(const QUuid& token) {
    if (token != context.captureToken || !panelExists() || selectionResolveInFlight)
        return;
    selectionResolveInFlight = true;
    const bool mayUseClipboard = context.selectionViaClipboard || isChromiumFamily(context.capBundle);
    const auto read = [this, target = context.selectionTarget(), mayUseClipboard] {
        return mayUseClipboard ? selection.axSelectionOrGrab(target) : selection.axSelection(target);
    };
    dispatch.after(REFRESH_DELAY, this, [this, token, read] {
        dispatch.inBackground(Queue::UserInitiated, this, read, [this, token](const SelectedText& found) {
            selectionResolveInFlight = false;
            if (token != context.captureToken || !panelExists() || found.text.isEmpty())
                return;
            context.capTextWindow = found.window; // the same words may be selected in another one now
            if (found.text != context.capText)
                updateCaptureUI(found.text);
        });
    });
}

} // namespace ovalin
