#pragma once

#include "Selection.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace ovalin {

/// What the user is looking at, for one opening of the panel. Main thread only; workers get copies of what they need.
struct CaptureContext {
    QUuid captureToken =
        QUuid::createUuid(); ///< identity of the opening; every late result carries the one it began with
    QString capApp;
    QString capBundle;
    qint32 capPID = 0;
    quint32 capWindow = 0;     ///< X11 window, since a process may have several
    QString capText;           ///< the excerpt
    quint32 capTextWindow = 0; ///< X11 window that it was selected in; 0: not known
    std::optional<QString> capURL;
    std::optional<QString> capTitle;
    QString capContextMode = QStringLiteral("fetch"); ///< "screenshot" or "fetch"
    std::optional<QString> capShotB64;
    std::optional<QString> capShotText;
    std::optional<bool> capSiteOwned; ///< absent: not known (yet)
    bool selectionViaClipboard = false;

    /// Where the excerpt is read from.
    [[nodiscard]] SelectionTarget selectionTarget() const { return {{capPID, capWindow}, capBundle}; }

    /// Starts the record of a new opening over an application; everything an older one found is gone.
    void open(const QString& app, const QString& bundle, qint32 pid, quint32 window = 0) {
        const bool viaClipboard = selectionViaClipboard; // the pipeline decides it anew when it knows
        *this = CaptureContext();
        capApp = app;
        capBundle = bundle;
        capPID = pid;
        capWindow = window;
        capContextMode = QStringLiteral("screenshot");
        selectionViaClipboard = viaClipboard;
    }
};

} // namespace ovalin
