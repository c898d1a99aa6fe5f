#pragma once

#include "base/Paths.h"
#include "route/Undelivered.h"

#include "views/PastRequest.h"

namespace ovalin {

// The requests as they are shown: read from the ledger, which others write too, so whatever is no entry is passed over.
// All of it blocks: for workers, with the file work.

/// The newest 200.
[[nodiscard]] PastRequests listRequests(const Paths& paths, const QDateTime& now);

/// All of the request with this id, as listRequests() gave it; absent when it is not there any more.
[[nodiscard]] std::optional<RequestDetail> requestDetail(const Paths& paths, const QString& id, const QDateTime& now);

/// A request of ours with what its opening had captured, from its queue file, wherever that is by now, else from the
/// ledger.
[[nodiscard]] std::optional<Undelivered> storedRequest(const Paths& paths, const QString& id);

} // namespace ovalin
