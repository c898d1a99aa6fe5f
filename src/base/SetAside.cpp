#include "SetAside.h"

#include "Text.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

FileResult<QString> setAside(const QString& path, const FileVersion& version) {
    const auto target = endOfLinks(path);
    if (!target)
        return tl::unexpected(target.error());
    const QString time = isoTimestamp(QDateTime::currentDateTimeUtc()).remove(QLatin1Char(':'));
    for (int number = 1; number < 1000; ++number) {
        const QString again = number > 1 ? u"-%1"_s.arg(number) : QString();
        const QString aside = nameBeside(*target, u"unreadable-"_s + time + again);
        if (renameToFreeName(*target, aside) != 0) {
            if (errno == EEXIST)
                continue;
            if (errno == ENOENT)
                return QString();
            return fileFailure("set aside", *target);
        }
        if (versionOf(aside) == version) {
            syncFolderOf(aside);
            return aside;
        }
        // Somebody put it right at this very moment. If they did it twice, their first try stays under the new name.
        renameToFreeName(aside, *target);
        return QString();
    }
    return fileFailure("set aside", *target, EEXIST);
}

FileResult<void> removeStore(const QString& path, StorePart part) {
    const auto target = endOfLinks(path);
    if (!target)
        return tl::unexpected(target.error());
    const QFileInfo aside(nameBeside(*target, u"unreadable-*"_s));
    QStringList doomed;
    for (const QFileInfo& file : aside.dir().entryInfoList({aside.fileName()}, QDir::Files | QDir::Hidden))
        doomed.append(file.filePath());
    if (part == StorePart::All)
        doomed.append(*target);
    for (const QString& file : std::as_const(doomed)) {
        if (::unlink(QFile::encodeName(file).constData()) != 0 && errno != ENOENT)
            return fileFailure("remove", file);
    }
    return {};
}

} // namespace ovalin
