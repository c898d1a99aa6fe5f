#include "FileSteps.h"

#include "Descriptor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

using namespace Qt::StringLiterals;

namespace ovalin {

FileVersion FileVersion::from(const struct stat& status) {
    return {true, status.st_dev, status.st_ino, qint64{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
            status.st_size};
}

tl::unexpected<QString> fileFailure(const char* step, const QString& path, int error) {
    return tl::unexpected(u"%1 %2: %3"_s.arg(QLatin1String(step), path, qt_error_string(error)));
}

FileResult<QString> endOfLinks(const QString& path) {
    QString end = path;
    for (int hop = 0; hop < 40; ++hop) {
        std::error_code error;
        const auto next = std::filesystem::read_symlink(QFile::encodeName(end).toStdString(), error);
        if (error)
            return end;
        end = QFileInfo(end).dir().filePath(QFile::decodeName(next.c_str()));
    }
    return fileFailure("follow", path, ELOOP);
}

int renameFile(const QString& from, const QString& to, unsigned flags) {
    return ::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(),
                       flags);
}

int renameToFreeName(const QString& from, const QString& to) {
    if (renameFile(from, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return -1;
    struct stat status {};
    if (::lstat(QFile::encodeName(to).constData(), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return renameFile(from, to);
}

QString nameBeside(const QString& target, const QString& word) {
    const QFileInfo info(target);
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.dir().filePath(info.completeBaseName() + QLatin1Char('-') + word + suffix);
}

void syncFolderOf(const QString& path) {
    const Descriptor folder(
        ::open(QFile::encodeName(QFileInfo(path).path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder)
        ::fsync(folder.get());
}

} // namespace ovalin
