#pragma once

#include "Selection.h"
#include "Subject.h"

#include <QByteArray>
#include <QUuid>

#include <functional>

namespace ovalin {

/// What the user is looking at, for one opening of the panel. Main thread only; workers get copies of what they need.
struct CaptureContext : Subject {
    QUuid captureToken = QUuid::createUuid();              ///< identity of the opening, for requests that outlive it
    QString capText;                                       ///< the excerpt
    WindowId capTextWindow;                                ///< that it was selected in
    QString capContextMode = QStringLiteral("screenshot"); ///< or "fetch"
    std::optional<QByteArray> capShot;                     ///< PNG
    std::optional<QString> capShotText;
    std::optional<bool> capSiteOwned; ///< absent: not known (yet)
    bool selectionViaClipboard = false;
    bool leftAlone = false; ///< nothing may be asked or pictured, now or later
};

/// Reads what is selected in the application now, else gives the stored excerpt. For worker threads.
[[nodiscard]] std::function<SelectedText()> currentFocus(Selection& selection, const CaptureContext& context);

} // namespace ovalin
