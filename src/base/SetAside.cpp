#include "SetAside.h"

#include "Text.h"

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

} // namespace ovalin
