#include "Status.h"

#include "Commands.h"
#include "HotkeyAdvice.h"
#include "RuntimeScripts.h"
#include "StartAtLogin.h"

#include "base/AgentCli.h"
#include "base/Config.h"
#include "base/Text.h"
#include "base/Version.h"
#include "base/children/ChildProcess.h"
#include "platform/HotKeys.h"
#include "platform/KeyChord.h"
#include "platform/helpers/SpeechFiles.h"
#include "platform/helpers/Tools.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>
#include <cstdio>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;
using State = Fact::State;
using Running = std::optional<QJsonObject>;

constexpr qsizetype LONGEST_FACT = 2000; // some of it other programs say, and a terminal obeys what it is sent
constexpr std::uintmax_t LEAST_ROOM = std::uintmax_t{100} << 20; // bytes

const QString NOT_KNOWN = u"not known while Ovalin does not run"_s;

QString desktopName() { return qEnvironmentVariable("XDG_CURRENT_DESKTOP"); }

Fact runs(const Running& running) {
    if (!running)
        return {State::Off, u"running"_s, u"no"_s, u"start it with `ovalin`, or `ovalin start-at-login on`"_s};
    const QString version = running->value(u"version"_s).toString();
    const QString words = u"yes, pid %1, version %2"_s.arg(running->value(u"pid"_s).toInteger()).arg(version);
    if (version != QLatin1String(VERSION))
        return {State::Off, u"running"_s, words,
                u"this is version %1: `ovalin quit`, and start it again"_s.arg(QLatin1String(VERSION))};
    return {State::Well, u"running"_s, words};
}

Fact hotkey(const Running& running, const Config& config) {
    const QString key = running ? running->value(u"hotkey"_s).toString() : config.hotkey;
    if (!running)
        return {State::Unknown, u"hotkey"_s, key + u", whether it can be had is "_s + NOT_KNOWN};
    const int status = running->value(u"hotkey_status"_s).toInt();
    if (key != config.hotkey)
        return {State::Off, u"hotkey"_s, u"%1, though the configuration says %2"_s.arg(key, config.hotkey),
                u"`ovalin quit`, and start it again"_s};
    if (status == 0)
        return {State::Well, u"hotkey"_s, key};
    if (status < 0)
        return {State::Off, u"hotkey"_s, key + u", which this keyboard does not have"_s,
                u"choose another: a line such as hotkey=Super+Space in ~/.config/ovalin/config"_s};
    if (status == static_cast<int>(HotKeyState::ByCompositor))
        return {State::Unknown, u"hotkey"_s, key + u", if it is bound in the desktop's own settings"_s,
                u"no program can bind it here: bind `ovalin toggle` to it there"_s};
    return {State::Off, u"hotkey"_s, key + u", held by another program"_s,
            howToFree(key, desktopName(), running->value(u"window_manager"_s).toString())};
}

QList<Fact> agent(const QString& home) {
    AgentSearch search = AgentSearch::under(home);
    search.probeDeadline = 3s;
    const auto found = findClaudeBinary(search);
    if (!found)
        return {{State::Off, u"agent"_s, u"not found"_s, agentMissingMessage()}};
    const QString folder = qEnvironmentVariable("CLAUDE_CONFIG_DIR", home + u"/.claude"_s);
    const bool signedIn =
        QFileInfo::exists(folder + u"/.credentials.json"_s) || !qEnvironmentVariableIsEmpty("ANTHROPIC_API_KEY");
    return {{State::Well, u"agent"_s, *found},
            signedIn ? Fact{State::Well, u"signed in"_s, u"yes, as far as the files tell"_s}
                     : Fact{State::Unknown, u"signed in"_s, u"not known: no sign-in of the agent's was found"_s,
                            u"run `claude` once, and sign in"_s}};
}

Fact scripts(const Paths& paths) {
    const QString subject = u"runtime scripts"_s;
    const ScriptStates states = scriptStates({paths.resourcesDir, paths.binDir, paths.stateDir});
    QStringList words{u"%1 as they came"_s.arg(states.same.size())};
    if (!states.changed.isEmpty())
        words += u"changed by you: "_s + states.changed.join(u", "_s);
    if (!states.older.isEmpty())
        words += u"%1 of an earlier version"_s.arg(states.older.size());
    if (!states.missing.isEmpty())
        words += u"%1 missing"_s.arg(states.missing.size());
    if (paths.resourcesDir.isEmpty())
        return {State::Off, subject, u"not part of this installation"_s, u"install Ovalin anew"_s};
    if (!states.older.isEmpty() || !states.missing.isEmpty())
        return {State::Off, subject, words.join(u"; "_s), u"they are put in place when Ovalin starts"_s};
    return {State::Well, subject, words.join(u"; "_s),
            states.changed.isEmpty() ? QString() : u"to get ours in place of yours, delete yours"_s};
}

Fact accessibility(const Running& running) {
    const QString subject = u"accessibility"_s;
    if (!running)
        return {State::Unknown, subject, NOT_KNOWN};
    const QJsonValue on = running->value(u"accessibility"_s);
    if (!on.isBool())
        return {State::Off, subject, u"no service on this desktop"_s,
                u"install at-spi2-core and start a session with a bus; until then the excerpt comes from the PRIMARY "
                "selection or a copy"_s};
    return on.toBool() ? Fact{State::Well, subject, u"on"_s}
                       : Fact{State::Off, subject, u"off: excerpts of Qt applications and browsers may be missing"_s,
                              u"gsettings set org.gnome.desktop.interface toolkit-accessibility true, and start those "
                              "applications again"_s};
}

Fact speech(const QString& home) {
    const QString subject = u"dictation"_s;
    const SpeechFiles files = findSpeechFiles(home, programFolder());
    if (files.complete())
        return {State::Well, subject, u"engine and model are there, "_s + files.models.constFirst()};
    return {State::Hint, subject, files.whatIsMissing(), u"`ovalin install-speech`, if you want to dictate"_s};
}

Fact microphone(const Running& running) {
    const QString subject = u"microphone"_s;
    if (!running)
        return {State::Unknown, subject, NOT_KNOWN};
    const QString wrong = running->value(u"microphone"_s).toString();
    if (wrong.isEmpty())
        return {State::Well, subject, u"yes"_s};
    return {State::Hint, subject, wrong,
            u"if you want to dictate: plug one in, and see that PulseAudio or PipeWire runs"_s};
}

Fact textRecognition() {
    const QString subject = u"text in pictures"_s;
    const Tools tools = Tools::under(Tools::folderBeside(programFolder()));
    RunOptions options;
    options.deadline = 5s;
    const QStringList languages =
        runToEnd({tools.ocr, {u"--languages"_s}, {}, {}}, options).text().split(u'\n', Qt::SkipEmptyParts);
    if (languages.contains(u"eng"_s))
        return {State::Well, subject, u"read in English; languages there: "_s + languages.join(u", "_s)};
    return {State::Off, subject, u"cannot be read: English is not installed"_s, u"apt install tesseract-ocr-eng"_s};
}

Fact desktop(const Running& running) {
    const QString subject = u"desktop"_s;
    const QString display = qEnvironmentVariable("DISPLAY");
    const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (running && running->value(u"platform"_s).toString().startsWith(u"wayland"_s))
        return {State::Well, subject,
                u"natively on Wayland %1 %2"_s.arg(running->value(u"window_manager"_s).toString(), desktopName())
                    .simplified()};
    QStringList words{display.isEmpty() ? u"no X11"_s : u"X11 at "_s + display};
    if (wayland)
        words += u"a Wayland session"_s;
    if (!desktopName().isEmpty())
        words += desktopName();
    if (running)
        words += running->value(u"window_manager"_s).toString(u"no window manager"_s);
    if (display.isEmpty())
        return {State::Off, subject, words.join(u", "_s), u"Ovalin needs an X11 session, or Xwayland"_s};
    if (wayland)
        return {State::Unknown, subject, words.join(u", "_s),
                u"unless it runs natively there, windows that are no X11 ones are not seen"_s};
    return {State::Well, subject, words.join(u", "_s)};
}

Fact room(const QString& home) {
    std::error_code wrong;
    const auto free = std::filesystem::space(QFile::encodeName(home).toStdString(), wrong).available;
    if (wrong)
        return {State::Unknown, u"disk"_s, u"not known"_s};
    const QString words = QLocale::c().formattedDataSize(static_cast<qint64>(free)) + u" free in the home folder"_s;
    if (free >= LEAST_ROOM)
        return {State::Well, u"disk"_s, words};
    return {State::Off, u"disk"_s, words, u"make room, or requests cannot be written"_s};
}

QList<Fact> configuration(const QString& file, const Config& config) {
    const QString subject = u"configuration"_s;
    QList<Fact> told;
    for (const QString& complaint : config.complaints)
        told += {State::Off, subject, complaint, u"see "_s + file};
    if (told.isEmpty())
        told += {State::Well, subject, QFileInfo::exists(file) ? file : file + u" (none, which is fine)"_s};
    return told;
}

Fact login(const QString& home) {
    const QString way = startAtLoginWay(home);
    return {State::Well, u"start at login"_s, way.isEmpty() ? u"no"_s : u"yes, by "_s + way,
            way.isEmpty() ? u"`ovalin start-at-login on`, if you want it"_s : QString()};
}

Running askRunning(const CommandCall& call) {
    const auto answer = SingleInstance::send(call.folders(), {{u"command"_s, u"status"_s}}, 5s);
    return answer ? Running(*answer) : std::nullopt;
}

void print(const Fact& fact, bool withHelp) {
    static constexpr const char* MARKS = " -!?"; // in the order of State
    std::printf("%c %-17s %s\n", MARKS[static_cast<int>(fact.state)], qUtf8Printable(fact.subject),
                qUtf8Printable(onOneLine(fact.words, LONGEST_FACT)));
    if (withHelp && !fact.help.isEmpty())
        std::printf("%20s→ %s\n", "", qUtf8Printable(onOneLine(fact.help, LONGEST_FACT)));
}

} // namespace

QList<Fact> facts(const CommandCall& call, const Running& running) {
    const QString& home = call.paths.home;
    Config config = readConfig(configPath(home));
    std::ignore = hotkeyOf(config);
    return QList<Fact>{runs(running), hotkey(running, config)} + agent(home) +
           QList<Fact>{scripts(call.paths), accessibility(running), speech(home), microphone(running),
                       textRecognition(),   desktop(running),       room(home)} +
           configuration(configPath(home), config) + QList<Fact>{login(home)};
}

int printStatus(const CommandCall& call) {
    const Running running = askRunning(call);
    for (const Fact& fact : facts(call, running))
        print(fact, false);
    return running ? 0 : 1;
}

int printDoctor(const CommandCall& call) {
    const QList<Fact> all = facts(call, askRunning(call));
    for (const Fact& fact : all)
        print(fact, true);
    const auto has = [&](State state) {
        return std::ranges::any_of(all, [state](const Fact& fact) { return fact.state == state; });
    };
    std::puts(has(State::Off)    ? "what is marked with ! is off"
              : has(State::Hint) ? "all that it needs is there; what is marked with - one may do without"
                                 : "all is well");
    return has(State::Off) ? 1 : 0;
}

} // namespace ovalin
