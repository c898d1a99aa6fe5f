#pragma once

#include "base/AgentCli.h"
#include "base/Paths.h"

#include <QString>

namespace ovalin {

/// What the agent is told to do with a queue file when no router script is installed.
[[nodiscard]] const QString& fallbackRouterPrompt();

/// The shell's line that runs the user's router script for one queue file, in the background, its output in the log.
[[nodiscard]] QString routerScriptLine(const QString& script, const QString& queueFile, const QString& log);

/// The same with the agent CLI and the built-in instructions.
[[nodiscard]] QString routerAgentLine(const QString& agent, const QString& queueFile, const QString& log);

enum class RouterStart { Launched, LaunchFailed, AgentMissing };

/// Starts the router for one queue file, in the background: the script where it is installed, else the agent CLI. A
/// failed launch is logged. Blocks while the agent is looked up: for workers.
RouterStart spawnRouter(const QString& queueFile, const Paths& paths, const AgentSearch& search);

} // namespace ovalin
