#pragma once

#include <QString>

#include <vector>

namespace ovalin {

/// What the command line asks for.
struct CommandLine {
    enum class Action { Run, Toggle, InstallSpeech, Help, Version, Wrong };
    Action action = Action::Run;
    QString wrong;                                  ///< the argument that is not understood
    QByteArray display;                             ///< the X server to use instead of $DISPLAY
    QByteArray platform = QByteArrayLiteral("xcb"); ///< Qt's, with its options
};

/// Pure but for reading the arguments; options of Qt's own ("-platform …", "-name …") pass.
[[nodiscard]] CommandLine parseCommandLine(int argc, char** argv);

/// Carries out everything but Run and returns the exit status. Needs no display.
[[nodiscard]] int runCommand(const CommandLine& command, int argc, char** argv);

/// The arguments for QApplication, null-terminated: Qt's X11 platform also where the session is a Wayland one or the
/// environment names another platform for all programs.
[[nodiscard]] std::vector<char*> platformArguments(int argc, char** argv);

/// Standard input becomes /dev/null, so that no child ever waits for what somebody types into our terminal.
void closeStandardInput();

} // namespace ovalin
