#pragma once

#include "base/children/ChildEnvironment.h"

#include <QMultiHash>

#include <chrono>
#include <functional>
#include <sys/types.h>

namespace ovalin {

// A router is no child of ours, but what our launch starts bears its request's id in its environment. One that also
// names the id in its command line is the router: an editor that has the queue file open has no such mark, and what the
// agent left running for the user does not name the id.

/// What a launch puts into the environment for this request.
[[nodiscard]] ChildVariables routerVariables(const QString& id);

/// The routers at work, by the ids of their requests. Reads /proc: for workers.
[[nodiscard]] QMultiHash<QString, pid_t> runningRouters();

/// Ends the router of a request: SIGTERM to all of its process group that bears the mark, SIGKILL after `toCleanUp` to
/// what is left of that; the bundled router gives the agent ten seconds. False: there is none that is proven to be
/// ours, and nothing was signalled. `proven` is called before. Blocks until they have ended: for workers.
bool endRouter(const QString& id, const std::function<void()>& proven,
               std::chrono::milliseconds toCleanUp = std::chrono::seconds(12));

} // namespace ovalin
