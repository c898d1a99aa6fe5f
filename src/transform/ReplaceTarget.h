#pragma once

#include "capture/CaptureContext.h"

namespace ovalin {

/// What Replace changes: the text in the application (Plain), or the source of what the application shows, by a script
/// that knows where that is.
enum class ReplaceTarget { Plain, Torvi, Quarn, File, Web };

/// The target for what was captured. Pure.
[[nodiscard]] ReplaceTarget replaceTarget(const CaptureContext& context);

/// Whether the source is edited, and a status line comes back instead of a text.
[[nodiscard]] inline bool editsSource(ReplaceTarget target) { return target != ReplaceTarget::Plain; }

/// The name of the runtime script that carries it out.
[[nodiscard]] QString replaceScript(ReplaceTarget target);

} // namespace ovalin
