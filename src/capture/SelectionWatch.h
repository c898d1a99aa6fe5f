#pragma once

#include "CaptureContext.h"
#include "Selection.h"

#include "base/Dispatch.h"
#include "platform/SelectionHints.h"

#include <QObject>

namespace ovalin {

/// Keeps the excerpt current while it lives: the user may extend or change the selection in the application below the
/// panel. Main thread.
class SelectionWatch final : public QObject {
public:
    SelectionWatch(SelectionHints& hints, Dispatch& dispatch, Selection& selection, CaptureContext& context);
    ~SelectionWatch() override;

    /// The excerpt changed; never called with an empty text.
    std::function<void(const QString& text)> updateCaptureUI;
    /// The application shows by now what is left alone: the excerpt stays as it was.
    std::function<void()> leftAlone;

private:
    /// Reads the selection again 0.18 s from now, unless such a read is under way.
    void scheduleSelectionRefresh();

    SelectionHints& hints;
    Dispatch& dispatch;
    Selection& selection;
    CaptureContext& context;
    const SelectionHints::Handle hint;
    bool selectionResolveInFlight = false;
};

} // namespace ovalin
