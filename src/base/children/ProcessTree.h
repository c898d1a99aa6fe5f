#pragma once

#include "base/Descriptor.h"

#include <QByteArray>
#include <QMultiHash>
#include <QString>

#include <chrono>
#include <sys/types.h>
#include <vector>

namespace ovalin {

// Processes held by descriptors (pidfd), which never come to mean another process. Any thread. Where the kernel gives
// none, a descriptor is empty and stands for a process that has ended.

[[nodiscard]] Descriptor openProcess(pid_t pid);

/// The children of a process, their children and so on, as /proc has them now; orphans of the past are not found.
[[nodiscard]] std::vector<Descriptor> descendantsOf(pid_t pid);

/// The processes of this user with "NAME=value" in the environment that they were started with.
[[nodiscard]] std::vector<Descriptor> processesWith(const QByteArray& variable);

/// The same, whatever the value, by their value.
[[nodiscard]] QMultiHash<QByteArray, pid_t> processesByVariable(const QByteArray& name);

/// What the process was started with; empty for one that has ended.
[[nodiscard]] QByteArray commandLineOf(pid_t pid);

/// Names this process, as long as it lives: no later one with its number is meant.
[[nodiscard]] QString ownProcessName();

/// The other processes that have this text in their command line.
[[nodiscard]] std::vector<pid_t> processesNaming(const QByteArray& text);

/// Whether another process of this user has the name of this one (proc(5), comm).
[[nodiscard]] bool anotherCopyRuns();

void signalProcess(const Descriptor& process, int number);
[[nodiscard]] bool processHasEnded(const Descriptor& process);
/// Returns when it has ended, or after `limit`.
void waitForProcess(const Descriptor& process, std::chrono::milliseconds limit);

} // namespace ovalin
