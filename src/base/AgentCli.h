#pragma once

#include <QLatin1String>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace ovalin {

/// Where the user gets the agent CLI.
inline constexpr QLatin1String AGENT_INSTALL_PAGE("https://claude.ai/code");

/// Said where the agent CLI is needed and missing.
[[nodiscard]] QString agentMissingMessage();
/// The same for the chat, which needs a signed-in agent.
[[nodiscard]] QString agentMissingChatMessage();

/// Whether a regular file lies there that this user may execute.
[[nodiscard]] bool scriptExists(const QString& path);

/// Where the agent CLI is looked for; a value, so that tests look elsewhere.
struct AgentSearch {
    QStringList candidates;                         ///< in this order
    bool loginShell = false;                        ///< is asked when it is at none of these places
    std::chrono::milliseconds probeDeadline{10000}; ///< for that, since its start-up files may hang

    [[nodiscard]] static AgentSearch under(const QString& home);
};

/// The first candidate that is executable, else what the user's login shell resolves `claude` to. Nothing is kept:
/// every call searches anew. Blocks as long as the login shell takes: for worker threads.
[[nodiscard]] std::optional<QString> findClaudeBinary(const AgentSearch& search);

} // namespace ovalin
