#include "ShotFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

ShotFile::ShotFile() {
    // A name that is taken belongs to a capture of the same millisecond, or was put there for us to stumble over.
    qint64 time = QDateTime::currentMSecsSinceEpoch();
    for (int attempt = 0; attempt < 100; ++attempt, ++time) {
        const QString path = QDir::tempPath() + u"/ovalin-shot-%1.png"_s.arg(time);
        const int fd = ::open(QFile::encodeName(path).constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
        if (fd >= 0) {
            ::close(fd);
            filePath = path;
            return;
        }
        if (errno != EEXIST)
            return;
    }
}

ShotFile::~ShotFile() {
    if (filePath.isEmpty())
        return;
    QFile::remove(filePath);
    const QFileInfo info(filePath);
    QDir folder = info.dir();
    for (const QString& left : folder.entryList({info.fileName() + u".*"_s}, QDir::Files | QDir::System))
        folder.remove(left);
}

} // namespace ovalin
