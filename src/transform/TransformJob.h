#pragma once

#include "AgentJob.h"
#include "ReplaceTarget.h"

namespace ovalin {

/// A selection to be changed as an instruction says, with what was captured when the button was pressed.
struct TransformJob {
    ReplaceTarget target = ReplaceTarget::Plain;
    QString instruction;
    QString selection;
    Subject subject;
};

/// Runs the target's script, or the agent CLI with a prompt of ours where that is missing, the selection on its
/// standard input. The instruction travels in the environment: one of 128 KiB fails to launch. Blocks until the child
/// has ended: worker threads.
[[nodiscard]] JobEnd runTransform(const TransformJob& transform, const AgentJob& job);

} // namespace ovalin
