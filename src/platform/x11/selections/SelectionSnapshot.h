#pragma once

#include "XSelections.h"

#include <memory>

namespace ovalin {

/// One reading of all that a selection holds.
struct SnapshotReading {
    Pasteboard::Selection selection;
    Deadline targetsBy;
    Deadline deadline;
    qsizetype bytes;
    bool partly; // what cannot be had may be missing
};

/// Worker threads; `selections` lives on that X thread, which makes it. Absent when the deadline passed, or the
/// selection changed meanwhile; unless `partly`, also when something is missing. `clipboardChanges`: how often
/// CLIPBOARD has changed.
[[nodiscard]] std::optional<PasteboardSnapshot> readSnapshot(XThread& thread,
                                                             const std::unique_ptr<XSelections>& selections,
                                                             const SnapshotReading& how,
                                                             const std::atomic<quint64>& clipboardChanges);

} // namespace ovalin
