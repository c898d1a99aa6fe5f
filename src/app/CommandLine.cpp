#include "CommandLine.h"

#include "SingleInstance.h"

#include "base/Paths.h"
#include "platform/helpers/Tools.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const char* const HELP = R"(Usage: ovalin [COMMAND]

Without a command, starts the background agent; Alt+Space then opens its panel over any application.

Commands:
  toggle          opens or closes the panel of the running copy, as the hotkey does; bind it to any shortcut
  install-speech  fetches the speech engine and its model for dictation (70 MB)
Options:
  --help          this text
  --version       the version
)";

} // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CommandLine command;
    for (int i = 1; i < argc; ++i) {
        const char* argument = argv[i];
        if (!std::strcmp(argument, "--help") || !std::strcmp(argument, "-h"))
            command.action = CommandLine::Action::Help;
        if (!std::strcmp(argument, "--version"))
            command.action = CommandLine::Action::Version;
        if (!std::strcmp(argument, "toggle"))
            command.action = CommandLine::Action::Toggle;
        if (!std::strcmp(argument, "install-speech"))
            command.action = CommandLine::Action::InstallSpeech;
        if (command.action != CommandLine::Action::Run)
            return command;
        const bool isDisplay = !std::strcmp(argument, "-display"), isPlatform = !std::strcmp(argument, "-platform");
        const bool known = isDisplay || isPlatform || !std::strcmp(argument, "-name");
        if (!known || i + 1 == argc) {
            command.action = CommandLine::Action::Wrong;
            command.wrong = QString::fromLocal8Bit(argument);
            return command;
        }
        ++i;
        if (isDisplay)
            command.display = argv[i];
        else if (isPlatform)
            command.platform = argv[i];
    }
    return command;
}

int runCommand(const CommandLine& command, int argc, char** argv) {
    switch (command.action) {
    case CommandLine::Action::Help:
        std::fputs(HELP, stdout);
        return 0;
    case CommandLine::Action::Version:
        std::puts("ovalin " OVALIN_VERSION);
        return 0;
    case CommandLine::Action::Toggle: {
        const QCoreApplication application(argc, argv);
        const Paths paths = Paths::under(QDir::homePath());
        const auto wrong = SingleInstance::sendToggle({paths.runtimeDir, paths.stateDir});
        if (wrong)
            std::fprintf(stderr, "ovalin: %s\n", qUtf8Printable(*wrong));
        return wrong ? 1 : 0;
    }
    case CommandLine::Action::InstallSpeech: {
        const QCoreApplication application(argc, argv);
        const QByteArray script =
            QFile::encodeName(Tools::folderBeside(QCoreApplication::applicationDirPath()) + u"/install-speech"_s);
        const QByteArray folder = QFile::encodeName(QDir::homePath() + u"/.local/share/ovalin/speech"_s);
        ::execl(script.constData(), script.constData(), folder.constData(), nullptr);
        std::fprintf(stderr, "ovalin: %s: %s\n", script.constData(), std::strerror(errno));
        return 1;
    }
    default:
        std::fprintf(stderr, "ovalin: unknown argument '%s' — see ovalin --help\n", qUtf8Printable(command.wrong));
        return 2;
    }
}

std::vector<char*> platformArguments(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    static char option[] = "-platform", xcb[] = "xcb";
    const bool chosen = std::any_of(arguments.begin(), arguments.end(),
                                    [](const char* argument) { return !std::strcmp(argument, option); });
    if (!chosen && !qgetenv("QT_QPA_PLATFORM").startsWith(xcb))
        arguments.insert(arguments.end(), {option, xcb});
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
