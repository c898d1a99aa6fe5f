#pragma once

#include "AgentJob.h"

#include "capture/Subject.h"

namespace ovalin {

/// A text to be written for the place of the cursor.
struct InsertJob {
    QString instruction;
    Subject subject;
};

/// Asks the agent CLI for the text. The instruction travels in the environment, as with runTransform(). Blocks until
/// the child has ended: worker threads.
[[nodiscard]] JobEnd runInsert(const InsertJob& insert, const AgentJob& job);

} // namespace ovalin
