#pragma once

#include "base/FileSteps.h"
#include "base/Paths.h"

#include <QDateTime>

namespace ovalin {

// What lies in `processed/` beside the queue: queue files and screenshots of requests that a router has dealt with. All
// of it blocks: for workers, with the file work.

/// Removes what was written there before then. What the ledger calls anything but "ready" is not done, and stays; so
/// does all of it where the ledger cannot be read.
void sweepProcessed(const Paths& paths, const QDateTime& before);

/// Removes all that is kept of requests: `processed/`, what was not handed over, the router's log, and our entries in
/// the ledger. A request whose queue file still lies in the queue is not done: it stays, with its entry. Gives how many
/// stay.
[[nodiscard]] FileResult<qsizetype> forgetRequests(const Paths& paths);

} // namespace ovalin
