#include "RuntimeScripts.h"

#include "base/Log.h"
#include "base/WholeFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QMultiHash>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using Sums = QMultiHash<QString, QByteArray>;

QByteArray sumOf(const QByteArray& script) {
    return QCryptographicHash::hash(script, QCryptographicHash::Sha256).toHex();
}

QString recordPath(const ScriptFolders& folders) { return folders.stateDir + u"/installed-scripts"_s; }

/// Lines as `sha256sum` writes them. A file that cannot be read knows none, and then nothing is replaced.
void addSums(Sums& sums, const QString& file) {
    const auto read = readWholeFile(file);
    for (const QByteArray& line : read ? read->bytes.split('\n') : QByteArrayList()) {
        const qsizetype blanks = line.indexOf("  ");
        if (blanks > 0)
            sums.insert(QString::fromUtf8(line.sliced(blanks + 2)), line.first(blanks));
    }
}

struct Script {
    enum class State { Missing, Same, Older, Changed };
    QString name;
    State state = State::Missing;
    QByteArray bundled;
    FileContents there;
};

/// Those that can be read; without QDir::Hidden the listing leaves out names that begin with a dot.
QList<Script> compare(const ScriptFolders& folders, Sums& known, QStringList* unreadable = nullptr) {
    addSums(known, recordPath(folders));
    Sums earlier = known;
    addSums(earlier, folders.resourcesDir + u"/earlier-scripts"_s);
    const QDir source(folders.resourcesDir + u"/bin"_s), destination(folders.binDir);
    QList<Script> scripts;
    for (const QString& name : source.entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        const QFileInfo there(destination.filePath(name));
        auto ours = readWholeFile(source.filePath(name));
        if (!ours || !ours->version.exists) {
            if (unreadable && !there.exists())
                unreadable->append(name);
            continue;
        }
        Script script{name, Script::State::Missing, ours->bytes, {}};
        if (there.exists() || there.isSymLink()) {
            const auto found =
                there.isSymLink() ? FileContents{} : readWholeFile(there.filePath()).value_or(FileContents{});
            const bool readable = found.version.exists;
            script.there = found;
            script.state = readable && found.bytes == script.bundled                ? Script::State::Same
                           : readable && earlier.contains(name, sumOf(found.bytes)) ? Script::State::Older
                                                                                    : Script::State::Changed;
        }
        scripts.append(script);
    }
    return scripts;
}

/// Whole or not at all, and never over a file that came or was changed meanwhile.
bool install(const ScriptFolders& folders, const Script& script) {
    ReplaceOptions options;
    options.newMode = 0755;
    options.followLinks = false;
    const auto done =
        replaceIfUnchanged(QDir(folders.binDir).filePath(script.name), script.there, script.bundled, options);
    if (!done)
        logLine(u"Ovalin: bundled script install failed for "_s + script.name);
    return done && *done == Replaced::Done;
}

void record(const ScriptFolders& folders, const Sums& sums) {
    QStringList names = sums.uniqueKeys();
    names.sort();
    QByteArray text;
    for (const QString& name : std::as_const(names))
        text += sums.value(name) + "  " + name.toUtf8() + '\n';
    const auto before = readWholeFile(recordPath(folders));
    if (before && before->bytes == text)
        return;
    const auto written =
        ensureFolder(folders.stateDir).and_then([&] { return replaceFile(recordPath(folders), text); });
    if (!written)
        logLine(u"Ovalin: which runtime scripts were installed is not remembered — "_s + written.error());
}

} // namespace

ScriptStates scriptStates(const ScriptFolders& folders) {
    Sums known;
    ScriptStates states;
    for (const Script& script : compare(folders, known)) {
        QStringList* const lists[] = {&states.missing, &states.same, &states.older, &states.changed};
        lists[static_cast<int>(script.state)]->append(script.name);
    }
    return states;
}

void installBundledScripts(const ScriptFolders& folders) {
    if (folders.resourcesDir.isEmpty())
        return;
    std::ignore = ensureFolder(folders.binDir); // the copies say what is wrong with it
    Sums known;
    QStringList unreadable, changed;
    int installed = 0, updated = 0;
    for (const Script& script : compare(folders, known, &unreadable)) {
        const bool missing = script.state == Script::State::Missing;
        if (script.state == Script::State::Changed)
            changed.append(script.name);
        else if (script.state == Script::State::Same || install(folders, script)) {
            known.replace(script.name, sumOf(script.bundled));
            installed += missing ? 1 : 0;
            updated += script.state == Script::State::Older ? 1 : 0;
        }
    }
    for (const QString& name : std::as_const(unreadable))
        logLine(u"Ovalin: bundled script install failed for "_s + name);
    if (installed > 0)
        logLine(u"Ovalin: installed %1 bundled runtime scripts"_s.arg(installed));
    if (updated > 0)
        logLine(u"Ovalin: updated %1 runtime scripts that nobody had changed"_s.arg(updated));
    if (!changed.isEmpty())
        logLine(u"Ovalin: you have changed %1 — kept; delete yours to get ours"_s.arg(changed.join(u", "_s)));
    record(folders, known);
}

} // namespace ovalin
