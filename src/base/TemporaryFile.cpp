#include "TemporaryFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace ovalin {

FileResult<TemporaryFile> TemporaryFile::beside(const QString& target) {
    TemporaryFile temporary;
    do {
        temporary.path = QFileInfo(target).dir().filePath(
            u".ovalin-%1.tmp"_s.arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0')));
        temporary.file = Descriptor(::open(QFile::encodeName(temporary.path).constData(),
                                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    } while (!temporary.file && errno == EEXIST);
    if (!temporary.file) {
        const QString path = std::exchange(temporary.path, {});
        return fileFailure("create", path);
    }
    return temporary;
}

TemporaryFile::~TemporaryFile() {
    if (!path.isEmpty())
        ::unlink(QFile::encodeName(path).constData());
}

FileResult<FileVersion> TemporaryFile::fill(const QByteArray& bytes, mode_t mode, bool durable) {
    for (qsizetype done = 0; done < bytes.size();) {
        const auto count = ::write(file.get(), bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return fileFailure("write", path);
        done += qMax<qsizetype>(count, 0);
    }
    struct stat status {};
    if (::fchmod(file.get(), mode) != 0)
        return fileFailure("set the mode of", path);
    if (durable && ::fsync(file.get()) != 0 && errno != EINVAL)
        return fileFailure("sync", path);
    if (::fstat(file.get(), &status) != 0)
        return fileFailure("look at", path);
    file.close();
    return FileVersion::from(status);
}

void sweepFiles(const QString& folder, const QString& pattern, const QDateTime& before,
                const std::function<bool(const QString&)>& needed) {
    for (const QFileInfo& file : QDir(folder).entryInfoList({pattern}, QDir::Files | QDir::Hidden | QDir::System)) {
        if (file.ownerId() == ::getuid() && file.lastModified() < before && !file.isSymLink() &&
            !(needed && needed(file.completeBaseName())))
            QFile::remove(file.filePath());
    }
}

void sweepTemporaryFiles(const QString& folder, const QDateTime& before) {
    sweepFiles(folder, u".ovalin-*.tmp"_s, before);
}

} // namespace ovalin
