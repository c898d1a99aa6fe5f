#pragma once

#include "base/AgentCli.h"
#include "base/Paths.h"

#include <QString>

#include <optional>

namespace ovalin {

/// What the agent is told to do with a queue file when no router script is installed.
[[nodiscard]] const QString& fallbackRouterPrompt();

/// The shell's line that runs the user's router script for one queue file, in the background, its output in the log.
[[nodiscard]] QString routerScriptLine(const QString& script, const QString& queueFile, const QString& log);

/// The same with the agent CLI and the built-in instructions.
[[nodiscard]] QString routerAgentLine(const QString& agent, const QString& queueFile, const QString& log);

/// The mark of a request whose router has been launched, a file in `started/` beside the queue file: whoever makes it
/// may launch, once and for ever. Without one no router has ever seen the request.
[[nodiscard]] QString routerMark(const QString& queueFile);

/// What it says.
struct RouterMark {
    bool exists = false;
    std::optional<qint64> logBefore; ///< bytes: what the router prints comes behind them
    bool untold = false;             ///< the router has ended and leaves it to us to tell the user
};
[[nodiscard]] RouterMark readMark(const QString& queueFile);

enum class RouterStart { Launched, LaunchFailed, AgentMissing, NotMarked, MarkedBefore };

struct RouterLaunch {
    RouterStart start = RouterStart::LaunchFailed;
    bool script = false;  ///< the user's script, which says itself what became of the request
    qint64 logBefore = 0; ///< bytes: what the router prints comes behind them
    QString reason{};     ///< why it was not launched, as a step with the system's reason
};

/// Marks the request and starts the router for its queue file, in the background: the script where it is installed,
/// else the agent CLI. A mark without a launch is taken away again. Blocks while the agent is looked up: for workers.
RouterLaunch spawnRouter(const QString& queueFile, const Paths& paths, const AgentSearch& search);

} // namespace ovalin
