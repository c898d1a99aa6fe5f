#include "GnomeHotKeys.h"

#include "base/children/ChildProcess.h"

#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

const auto KEYS = u"org.gnome.settings-daemon.plugins.media-keys"_s;
const auto CUSTOM = KEYS + u".custom-keybinding"_s;
const auto COMMAND = u"ovalin toggle"_s;

/// All settings that bind keys.
const QStringList SCHEMAS{u"org.gnome.desktop.wm.keybindings"_s, u"org.gnome.shell.keybindings"_s,
                          u"org.gnome.mutter.keybindings"_s, u"org.gnome.mutter.wayland.keybindings"_s, KEYS};

QStringList quoted(const QString& text) {
    static const QRegularExpression word(u"'([^']*)'"_s);
    QStringList found;
    for (const auto& match : word.globalMatch(text))
        found.append(match.captured(1));
    return found;
}

bool isChord(QString accelerator, const KeyChord& chord) {
    const auto written = KeyChord::parse(accelerator.remove(u'<').replace(u'>', u'+'));
    return written && *written == chord;
}

/// Nothing of a schema that is not there; `late` when it did not answer.
QString read(const QStringList& arguments, bool& late) {
    static const QString program = QStandardPaths::findExecutable(u"gsettings"_s);
    RunOptions options;
    options.deadline = std::chrono::seconds(5);
    const ChildRun run = runToEnd({program, arguments, {}, {}}, options);
    late = late || run.timedOut;
    return run.text() + u'\n';
}

std::optional<GnomeShortcuts> look(const KeyChord& chord) {
    QString all;
    bool late = false;
    for (const QString& schema : SCHEMAS)
        all += read({u"list-recursively"_s, schema}, late);
    GnomeShortcuts found = gnomeShortcuts(all, chord);
    const auto value = [&late](const QString& path, const QString& key) {
        return quoted(read({u"get"_s, CUSTOM + u':' + path, key}, late)).value(0);
    };
    for (const QString& path : found.customs)
        found.add(value(path, u"binding"_s), value(path, u"command"_s), chord);
    return late || all.trimmed().isEmpty() ? std::nullopt : std::optional(found);
}

} // namespace

GnomeShortcuts gnomeShortcuts(const QString& settings, const KeyChord& chord) {
    GnomeShortcuts found;
    for (const QString& line : settings.split(u'\n')) {
        const QStringList values = quoted(line.section(u' ', 2));
        if (line.startsWith(KEYS + u" custom-keybindings "_s))
            found.customs = values;
        found.taken =
            found.taken || std::ranges::any_of(values, [&](const QString& each) { return isChord(each, chord); });
    }
    return found;
}

void GnomeShortcuts::add(const QString& binding, const QString& command, const KeyChord& chord) {
    if (isChord(binding, chord))
        (command.endsWith(COMMAND) ? ours : taken) = true;
}

GnomeHotKeys::GnomeHotKeys(Dispatch& theDispatch, const KeyChord& theChord)
    : dispatch(theDispatch)
    , chord(theChord) {}

HotKeyState GnomeHotKeys::registerHotKey() {
    if (!std::exchange(asking, true))
        dispatch.inBackground(
            Queue::Utility, &context, [chord = chord] { return look(chord); },
            [this](const std::optional<GnomeShortcuts>& found) { became(found); });
    return state;
}

void GnomeHotKeys::became(const std::optional<GnomeShortcuts>& found) {
    asking = false;
    if (!found && known) // as it was, as far as anybody knows
        return;
    known = known || found;
    const HotKeyState now = found && found->taken  ? HotKeyState::Taken // which wins
                            : found && found->ours ? HotKeyState::Registered
                                                   : HotKeyState::ByCompositor;
    if (std::exchange(state, now) != now && shouldReassert)
        shouldReassert();
}

} // namespace ovalin
