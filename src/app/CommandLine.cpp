#include "CommandLine.h"

#include "Commands.h"

#include "base/Version.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

void printHelp() {
    std::puts("Usage: ovalin [OPTION] [COMMAND]\n\n"
              "Without a command, starts the background agent; Alt+Space, or the hotkey of the configuration, then\n"
              "opens its panel over any application. Where it runs already, its panel is opened.\n\nCommands:");
    for (const Command& command : commands()) {
        const QByteArray usage = QByteArray(command.name) + ' ' + command.words;
        std::printf("  %-23s %s\n", usage.constData(), command.help);
    }
    std::puts("Options:\n"
              "  --background            shows nothing, also where it runs already: for the start at login\n"
              "  --verbose               the log holds your words, not only how many they were\n"
              "  --platform x11|wayland  where it would choose the other by itself\n"
              "  --help                  this text\n"
              "  --version               the version\n\n"
              "Files:\n"
              "  ~/.config/ovalin/config   your settings: hotkey=, exclude=, appearance=, and more in ovalin(1)\n"
              "  ~/CLAUDE/system           requests, what became of them, past conversations\n"
              "  ~/.claude/bin             the scripts that have the agent work\n"
              "Environment:\n"
              "  DISPLAY, XDG_RUNTIME_DIR, XDG_CONFIG_HOME, DBUS_SESSION_BUS_ADDRESS, OVALIN_SEARCH_URL\n"
              "Exit status:\n"
              "  0  it was done; the program ended in order, or another copy runs already\n"
              "  1  it could not be done, no copy runs that could, or there is no X server; status: none runs;\n"
              "     doctor: something is off that is marked with ! (what is marked with - one may do without)\n"
              "  2  an argument was not understood");
}

/// Takes an option with its value; how many arguments that were, 0 when it is none.
int takeOption(CommandLine& line, const char* option, const char* value) {
    const auto is = [option](const char* name) { return !std::strcmp(option, name); };
    if (is("--help") || is("-h"))
        line.action = CommandLine::Action::Help;
    else if (is("--version"))
        line.action = CommandLine::Action::Version;
    else if (is("--background"))
        line.background = true;
    else if (is("--verbose"))
        line.verbose = true;
    else if (value && is("-display"))
        line.display = value;
    else if (value && is("-platform"))
        line.platform = value;
    else if (value && is("--platform") && (!std::strcmp(value, "x11") || !std::strcmp(value, "wayland"))) {
        line.session = *value == 'x' ? CommandLine::Session::X11 : CommandLine::Session::Wayland;
        return 2;
    } else if (!value || !is("-name"))
        return 0;
    return option[1] == '-' || is("-h") ? 1 : 2;
}

} // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CommandLine line;
    for (int i = 1; i < argc;) {
        const int taken = takeOption(line, argv[i], i + 1 < argc ? argv[i + 1] : nullptr);
        if (line.action != CommandLine::Action::Run)
            return line;
        const auto all = commands();
        const auto found =
            std::ranges::find_if(all, [&](const Command& each) { return !std::strcmp(argv[i], each.name); });
        if (!taken && found != all.end()) {
            line.action = CommandLine::Action::Command;
            line.command = &*found;
            for (int word = i + 1; word < argc; ++word)
                line.words += QString::fromLocal8Bit(argv[word]);
            return line;
        }
        if (!taken) {
            line.action = CommandLine::Action::Wrong;
            line.wrong = QString::fromLocal8Bit(argv[i]);
            return line;
        }
        i += taken;
    }
    return line;
}

int runCommand(const CommandLine& line, int argc, char** argv) {
    switch (line.action) {
    case CommandLine::Action::Help:
        printHelp();
        return 0;
    case CommandLine::Action::Version:
        std::printf("ovalin %s\n", VERSION_TEXT);
        return 0;
    case CommandLine::Action::Command: {
        const QCoreApplication application(argc, argv);
        const char first = *line.command->words;
        if (first != '[' && (first != '\0') == line.words.join(QString()).trimmed().isEmpty()) {
            std::fprintf(stderr, "usage: ovalin %s %s\n", line.command->name, line.command->words);
            return 2;
        }
        return line.command->run({Paths::under(QDir::homePath()), line.words});
    }
    default:
        std::fprintf(stderr, "ovalin: unknown argument '%s' — see ovalin --help\n", qUtf8Printable(line.wrong));
        return 2;
    }
}

std::vector<char*> platformArguments(int argc, char** argv, bool wayland) {
    std::vector<char*> arguments(argv, argv + argc);
    static char option[] = "-platform", xcb[] = "xcb", native[] = "wayland";
    const auto named = [&arguments](const char* name) {
        return std::ranges::find_if(arguments, [name](const char* each) { return !std::strcmp(each, name); });
    };
    if (const auto ours = named("--platform"); ours != arguments.end())
        arguments.erase(ours, ours + 2);
    char* const platform = wayland ? native : xcb;
    if (named(option) == arguments.end() && !qgetenv("QT_QPA_PLATFORM").startsWith(platform))
        arguments.insert(arguments.end(), {option, platform});
    arguments.push_back(nullptr);
    return arguments;
}

void closeStandardInput() {
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null < 0)
        return;
    ::dup2(null, STDIN_FILENO);
    if (null != STDIN_FILENO)
        ::close(null);
}

} // namespace ovalin
