#include "DesktopEntries.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace ovalin {

using namespace Qt::StringLiterals;

struct DesktopEntries::File {
    DesktopEntry entry;
    QString wmClass;
    QString program;
    bool application = false;
    bool hidden = false;
    bool noDisplay = false;
};

namespace {

/// Name[de_DE@euro], Name[de_DE], Name[de@euro], Name[de] from the best match down, as the specification orders them.
QStringList nameKeys(const QString& locale) {
    const QString modifier = locale.contains(QLatin1Char('@')) ? locale.section(QLatin1Char('@'), 1, 1) : QString();
    const QString territory = locale.section(QLatin1Char('@'), 0, 0).section(QLatin1Char('.'), 0, 0);
    const QString language = territory.section(QLatin1Char('_'), 0, 0);
    QStringList keys;
    for (const QString& base : {territory, language}) {
        if (!modifier.isEmpty())
            keys << u"Name[%1@%2]"_s.arg(base, modifier);
        keys << u"Name[%1]"_s.arg(base);
    }
    return keys << u"Name"_s;
}

/// The program that an Exec line starts; empty for wrappers, whose name says nothing about the application.
QString programOf(const QString& exec) {
    static const QSet<QString> wrappers = {u"env"_s,  u"sh"_s,      u"bash"_s,     u"flatpak"_s,
                                           u"snap"_s, u"python3"_s, u"python"_s,   u"pkexec"_s,
                                           u"java"_s, u"wine"_s,    u"electron"_s, u"perl"_s};
    QString first = exec.section(QLatin1Char(' '), 0, 0);
    first.remove(QLatin1Char('"'));
    const QString name = QFileInfo(first).fileName();
    return wrappers.contains(name) ? QString() : name;
}

void addTo(QHash<QString, DesktopEntry>& table, const QString& key, const DesktopEntry& entry) {
    const QString folded = key.toLower();
    if (!folded.isEmpty() && !table.contains(folded))
        table.insert(folded, entry);
}

} // namespace

QString DesktopEntries::messageLocale() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (!qEnvironmentVariableIsEmpty(name))
            return qEnvironmentVariable(name);
    }
    return {};
}

DesktopEntries DesktopEntries::read(const QStringList& folders, const QString& locale) {
    const QStringList keys = nameKeys(locale);
    DesktopEntries entries;
    QSet<QString> seen;
    for (const QString& folder : folders) {
        QDirIterator files(folder, {u"*.desktop"_s}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            File file;
            file.entry.id = QDir(folder).relativeFilePath(path).chopped(8).replace(QLatin1Char('/'), QLatin1Char('-'));
            QFile source(path);
            if (seen.contains(file.entry.id) || !source.open(QIODevice::ReadOnly))
                continue;
            seen.insert(file.entry.id);
            qsizetype bestName = keys.size();
            bool inEntry = false;
            while (!source.atEnd()) {
                const QString line = QString::fromUtf8(source.readLine(4096)).trimmed();
                if (line.startsWith(QLatin1Char('['))) {
                    if (inEntry)
                        break; // actions follow, with names of their own
                    inEntry = line == QLatin1String("[Desktop Entry]");
                    continue;
                }
                const qsizetype equals = line.indexOf(QLatin1Char('='));
                if (!inEntry || equals < 0)
                    continue;
                const QString key = line.left(equals).trimmed();
                const QString value = line.mid(equals + 1).trimmed();
                const qsizetype nameRank = keys.indexOf(key);
                if (nameRank >= 0 && nameRank < bestName) {
                    bestName = nameRank;
                    file.entry.name = value;
                } else if (key == QLatin1String("StartupWMClass"))
                    file.wmClass = value;
                else if (key == QLatin1String("Exec"))
                    file.program = programOf(value);
                else if (key == QLatin1String("Type"))
                    file.application = value == QLatin1String("Application");
                else if (key == QLatin1String("Hidden"))
                    file.hidden = value == QLatin1String("true");
                else if (key == QLatin1String("NoDisplay"))
                    file.noDisplay = value == QLatin1String("true");
            }
            if (file.application && !file.hidden && !file.entry.name.isEmpty())
                entries.add(file);
        }
    }
    return entries;
}

void DesktopEntries::add(const File& file) {
    addTo(byWmClass, file.wmClass, file.entry);
    Table& ids = file.noDisplay ? weakById : byId;
    addTo(ids, file.entry.id, file.entry);
    addTo(ids, file.entry.id.section(QLatin1Char('.'), -1), file.entry); // org.gnome.Nautilus: nautilus
    addTo(file.noDisplay ? weakByProgram : byProgram, file.program, file.entry);
}

DesktopEntry DesktopEntries::find(const QString& wmClass, const QString& instance, const QString& executable) const {
    struct Look {
        const Table& table;
        const QString& key;
    };
    // The class first: Chromium puts the path of a profile into the instance.
    const Look order[] = {{byWmClass, wmClass}, {byId, wmClass},         {byWmClass, instance},
                          {byId, instance},     {byProgram, executable}, {byProgram, instance},
                          {weakById, wmClass},  {weakById, instance},    {weakByProgram, executable}};
    for (const Look& look : order) {
        const auto found = look.key.isEmpty() ? look.table.cend() : look.table.constFind(look.key.toLower());
        if (found != look.table.cend())
            return *found;
    }
    return {};
}

} // namespace ovalin
