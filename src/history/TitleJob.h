#pragma once

#include "base/AgentCli.h"
#include "base/children/ChildProcess.h"

#include <QString>

#include <optional>
#include <stop_token>

namespace ovalin {

/// The run of the agent CLI that turns a first question into a title. Pure.
[[nodiscard]] ChildCommand titleCommand(const QString& agent, const QString& question);

/// What the agent printed, as a title: trimmed; absent when it is no UTF-8, empty, or has 80 characters or more. Pure.
[[nodiscard]] std::optional<QString> titleFrom(const QByteArray& printed);

/// Asks the agent for a title; absent when it is missing, fails, takes minutes or is ended by `stop`. Blocks: for
/// worker threads.
[[nodiscard]] std::optional<QString> askForTitle(const AgentSearch& search, const QString& question,
                                                 const std::stop_token& stop);

} // namespace ovalin
