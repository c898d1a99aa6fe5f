#pragma once

#include "SingleInstance.h"

#include "base/Paths.h"

#include <QStringList>

#include <span>

namespace ovalin {

struct CommandCall {
    Paths paths;
    QStringList words;

    [[nodiscard]] SingleInstance::Folders folders() const { return {paths.runtimeDir, paths.stateDir}; }
};

/// A command of the command line. It runs in a program of its own, without a display; what the running copy has to do
/// for it goes by SingleInstance.
struct Command {
    const char* name;
    const char* words; ///< what follows it, for people; empty: nothing may; in brackets: nothing need
    const char* help;
    int (*run)(const CommandCall& call); ///< returns the exit status
};

[[nodiscard]] std::span<const Command> commands();

} // namespace ovalin
