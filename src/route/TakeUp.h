#pragma once

#include "base/Paths.h"
#include "route/Undelivered.h"

#include <QDateTime>

namespace ovalin {

/// What a start-up finds of the requests that an earlier run, killed perhaps, has left.
struct TakenUp {
    QList<QueueItem> launch;      ///< in the queue, their router was never launched; the newest, oldest first
    qsizetype left = 0;           ///< more of these, for a later start: all at once would be too much for a machine
    QList<QueueItem> interrupted; ///< launched, nobody works on them, nobody said how they ended: now "needs attention"
    QList<Undelivered> undelivered; ///< oldest first
};

/// Finds them, among those of the 30 days before `startedAt`. A request that stands in the ledger alone gets its queue
/// file again. What has a mark is never launched again. Blocks: for workers, with the file work.
[[nodiscard]] TakenUp takeUpRequests(const Paths& paths, const QDateTime& startedAt);

/// Removes the temporary files, screenshots and marks that earlier runs left, but nothing that another running copy may
/// be at work with. Blocks: for workers, after takeUpRequests().
void sweepLeftOvers(const Paths& paths, const QDateTime& startedAt, bool anotherCopyRuns);

} // namespace ovalin
