#include "Commands.h"

#include "Forget.h"
#include "StartAtLogin.h"
#include "Status.h"

#include "base/Text.h"
#include "platform/helpers/Tools.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

int failed(const QString& why) {
    std::fprintf(stderr, "ovalin: %s\n", qUtf8Printable(inPlainLines(why)));
    return 1;
}

/// Has the running copy do it, and says what it says about it.
int ask(const CommandCall& call, const QString& command, std::chrono::milliseconds limit = 2s) {
    const auto answer =
        SingleInstance::send(call.folders(), {{u"command"_s, command}, {u"words"_s, call.words.join(u' ')}}, limit);
    if (!answer)
        return failed(answer.error());
    if (const QString said = answer->value(u"said"_s).toString(); !said.isEmpty())
        std::printf("%s\n", qUtf8Printable(inPlainLines(said)));
    return 0;
}

int quit(const CommandCall& call) {
    const int status = ask(call, u"quit"_s);
    if (status == 0 && !SingleInstance::awaitEnd(call.folders(), 10s))
        return failed(u"it has not ended after ten seconds — something that it hands over takes long"_s);
    if (status == 0)
        std::puts("Ovalin has ended");
    return status;
}

int startAtLogin(const CommandCall& call) {
    const QString word = call.words.join(u' ');
    if (word != u"on"_s && word != u"off"_s) {
        std::fputs("usage: ovalin start-at-login on|off\n", stderr);
        return 2;
    }
    const auto done = setStartAtLogin(word == u"on"_s, call.paths.home);
    if (!done)
        return failed(done.error());
    std::printf("%s\n", qUtf8Printable(*done));
    return 0;
}

int forget(const CommandCall& call) {
    const bool sure = call.words == QStringList(u"--yes"_s);
    if (!sure && !call.words.isEmpty()) {
        std::fputs("usage: ovalin forget [--yes]\n", stderr);
        return 2;
    }
    return runForget(call.paths, sure, [&call] {
        std::ignore = SingleInstance::send(call.folders(), {{u"command"_s, u"forget"_s}}, 10s); // if one runs
    });
}

int installSpeech(const CommandCall& call) {
    const QByteArray script = QFile::encodeName(Tools::folderBeside(programFolder()) + u"/install-speech"_s);
    const QByteArray folder = QFile::encodeName(call.paths.home + u"/.local/share/ovalin/speech"_s);
    ::execl(script.constData(), script.constData(), folder.constData(), nullptr);
    return failed(QFile::decodeName(script) + u": "_s + QString::fromLocal8Bit(std::strerror(errno)));
}

constexpr std::array COMMANDS{
    Command{"toggle", "", "opens or closes the panel of the running copy, as the hotkey does",
            [](const CommandCall& call) { return ask(call, u"toggle"_s); }},
    Command{"do", "WORDS", "has it done in the background, without anything of the screen",
            [](const CommandCall& call) { return ask(call, u"do"_s, 10s); }},
    Command{"ask", "WORDS", "opens the panel and asks about what is in front",
            [](const CommandCall& call) { return ask(call, u"ask"_s); }},
    Command{"requests", "", "opens the panel with the list of requests and what became of them",
            [](const CommandCall& call) { return ask(call, u"requests"_s); }},
    Command{"status", "", "tells whether it runs, and what it has to work with", printStatus},
    Command{"doctor", "", "the same, with what helps for each thing that is off", printDoctor},
    Command{"start-at-login", "on|off", "has it started at each login, or not", startAtLogin},
    Command{"quit", "", "ends the running copy; requests on their way go on", quit},
    Command{"forget", "[--yes]", "removes past conversations, prompts and finished requests, after asking", forget},
    Command{"install-speech", "", "fetches the speech engine and its model for dictation (70 MB)", installSpeech},
};

} // namespace

std::span<const Command> commands() { return COMMANDS; }

} // namespace ovalin
