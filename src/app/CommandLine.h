#pragma once

#include <QString>

#include <vector>

namespace ovalin {

/// What the command line asks for.
struct CommandLine {
    enum class Action { Run, Toggle, Help, Version, Wrong };
    Action action = Action::Run;
    QString wrong; ///< the argument that is not understood
};

/// Pure but for reading the arguments; options of Qt's own ("-platform …") pass.
[[nodiscard]] CommandLine parseCommandLine(int argc, char** argv);

/// Carries out everything but Run and returns the exit status. Needs no display.
[[nodiscard]] int runCommand(const CommandLine& command, int argc, char** argv);

/// The arguments for QApplication, null-terminated: Qt's X11 platform also where a Wayland session would make it choose
/// another, unless the user chose one.
[[nodiscard]] std::vector<char*> platformArguments(int argc, char** argv);

/// Standard input becomes /dev/null, so that no child ever waits for what somebody types into our terminal.
void closeStandardInput();

} // namespace ovalin
