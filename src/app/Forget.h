#pragma once

#include "base/FileSteps.h"
#include "base/Paths.h"

#include <functional>

namespace ovalin {

/// Removes every file in which the program keeps the user's words: past conversations, prompts, what was learnt of
/// them, and the requests that are done. Gives how many requests stay because they are not. Blocks: for workers.
[[nodiscard]] FileResult<qsizetype> forgetAll(const Paths& paths);

/// `ovalin forget`: says what goes, asks on the terminal unless they are `sure`, has the running copy (if any) forget
/// what it holds in memory by `tellRunning`, and removes the files. The exit status: 0 done, 1 not done or a file could
/// not be removed. Blocks.
[[nodiscard]] int runForget(const Paths& paths, bool sure, const std::function<void()>& tellRunning);

} // namespace ovalin
