#include "FileLock.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace ovalin {

FileLock::FileLock(const QString& path, std::chrono::milliseconds patience)
    : file(::open(QFile::encodeName(path + u".lock"_s).constData(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600)) {
    const QDeadlineTimer deadline(patience);
    while (file && !locked) {
        locked = ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
        const bool refused = !locked && errno != EWOULDBLOCK && errno != EINTR; // by the file system, for good
        if (locked || refused || deadline.hasExpired())
            return;
        QThread::msleep(5);
    }
}

} // namespace ovalin
