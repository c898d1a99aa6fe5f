#pragma once

#include "route/CaptureQueue.h"

#include <QStringList>

namespace ovalin {

/// A request that could not be handed over, with what its own opening had captured.
struct Undelivered {
    QueueItem item;
    RequestShot shot;
    QString reason; ///< short, for a status line
};

// Such requests lie in private files, one each, so that a restart keeps them. All of it blocks: for workers.

/// Where they lie: in the first of these folders that takes one.
[[nodiscard]] QStringList undeliveredFolders(const QString& systemDir, const QString& runtimeDir);

/// Keeps the request, without its picture where there is room for the words alone; false when no folder takes even
/// these.
bool keepUndelivered(const QStringList& folders, const Undelivered& request);

/// All that were kept, oldest first.
[[nodiscard]] QList<Undelivered> keptUndelivered(const QStringList& folders);

void forgetUndelivered(const QStringList& folders, const QString& id);

} // namespace ovalin
