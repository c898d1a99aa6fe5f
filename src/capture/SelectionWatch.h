#pragma once

#include "CaptureContext.h"
#include "Selection.h"

#include "base/Dispatch.h"
#include "platform/EventMonitors.h"

#include <QObject>

#include <vector>

namespace ovalin {

/// Keeps the excerpt current while it lives: the user may extend or change the selection in the application below the
/// panel. Main thread.
class SelectionWatch final : public QObject {
public:
    SelectionWatch(EventMonitors& monitors, Dispatch& dispatch, Selection& selection, CaptureContext& context);
    ~SelectionWatch() override;

    /// The excerpt changed; never called with an empty text.
    std::function<void(const QString& text)> updateCaptureUI;
    /// The application shows by now what is left alone: the excerpt stays as it was.
    std::function<void()> leftAlone;

private:
    /// Reads the selection again 0.18 s from now, unless such a read is under way.
    void scheduleSelectionRefresh();

    EventMonitors& monitors;
    Dispatch& dispatch;
    Selection& selection;
    CaptureContext& context;
    std::vector<EventMonitors::Handle> selectionMonitors;
    bool selectionResolveInFlight = false;
};

/// Whether the key-up may have changed the selection: Shift with an arrow, or select-all. Pure.
[[nodiscard]] bool changesSelection(const EventMonitors::KeyUp& key);

} // namespace ovalin
