#pragma once

#include "CaptureContext.h"
#include "Selection.h"

#include "base/Dispatch.h"
#include "platform/EventMonitors.h"

#include <QObject>

#include <vector>

namespace ovalin {

/// Keeps the excerpt current while the panel is open: the user may extend or change the selection in the application
/// below. Main thread.
class SelectionWatch final : public QObject {
public:
    SelectionWatch(EventMonitors& monitors, Dispatch& dispatch, Selection& selection, CaptureContext& context);
    ~SelectionWatch() override;

    /// Watches for the opening with this token, instead of an older one.
    void startSelectionWatch(const QUuid& token);
    void stopSelectionWatch();

    /// Reads the selection again 0.18 s from now, unless such a read is under way.
    void scheduleSelectionRefresh(const QUuid& token);

    /// A panel is there to show the excerpt.
    std::function<bool()> panelExists;
    /// The excerpt changed; never called with an empty text.
    std::function<void(const QString& text)> updateCaptureUI;

private:
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
