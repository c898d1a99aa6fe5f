#pragma once

#include <QStringList>

#include <vector>

namespace ovalin {

struct Command;

/// What the command line asks for.
struct CommandLine {
    enum class Action { Run, Command, Help, Version, Wrong };
    Action action = Action::Run;
    const Command* command = nullptr;
    QStringList words;       ///< behind the command
    QString wrong;           ///< the argument that is not understood
    bool background = false; ///< nothing is to be shown, also when another copy runs
    bool verbose = false;    ///< the log may hold the user's words
    QByteArray display;      ///< the X server to use instead of $DISPLAY
    QByteArray platform;     ///< Qt's, with its options, where it is given
    enum class Session { Unsaid, X11, Wayland };
    Session session = Session::Unsaid; ///< --platform
};

/// Pure but for reading the arguments; options of Qt's own ("-platform …", "-name …") pass. What follows a command is
/// the command's.
[[nodiscard]] CommandLine parseCommandLine(int argc, char** argv);

/// Carries out everything but Run and returns the exit status. Needs no display.
[[nodiscard]] int runCommand(const CommandLine& command, int argc, char** argv);

/// The arguments for QApplication, null-terminated, with this platform of Qt's also where the environment names another
/// one for all programs; without our own option for it.
[[nodiscard]] std::vector<char*> platformArguments(int argc, char** argv, bool wayland);

/// Standard input becomes /dev/null, so that no child ever waits for what somebody types into our terminal.
void closeStandardInput();

} // namespace ovalin
