#include "SingleInstance.h"

#include "base/Log.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QLocalSocket>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ovalin {

namespace {

const QByteArray TOGGLE = QByteArrayLiteral("toggle\n");
const QByteArray DONE = QByteArrayLiteral("ok\n");
constexpr int WAIT_MS = 2000;

QString socketPath(const QString& folder) { return folder + QStringLiteral("/ovalin.socket"); }
QByteArray lockPath(const QString& folder) { return QFile::encodeName(folder + QStringLiteral("/ovalin.lock")); }

// A folder in /tmp may have been put there by somebody else.
bool ownFolder(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    ::mkdir(path.constData(), 0700);
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
}

void serve(QLocalSocket* peer, const std::function<void()>& toggled) {
    QObject::connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
    QObject::connect(peer, &QLocalSocket::readyRead, peer, [peer, toggled] {
        if (!peer->canReadLine()) {
            if (peer->bytesAvailable() > 1024)
                peer->abort();
            return;
        }
        if (peer->readLine() == TOGGLE) {
            peer->write(DONE);
            toggled();
        }
        peer->disconnectFromServer();
    });
}

} // namespace

SingleInstance::SingleInstance(const QString& runtimeDir)
    : folder(runtimeDir) {}

SingleInstance::~SingleInstance() {
    server.close();
    if (lock >= 0)
        ::close(lock);
}

bool SingleInstance::acquire() {
    if (!ownFolder(folder)) {
        logLine(QStringLiteral("Ovalin: %1 is not a folder of this user — running without the single-instance lock")
                    .arg(folder));
        return true;
    }
    lock = ::open(lockPath(folder).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock < 0) {
        logLine(QStringLiteral("Ovalin: cannot open the lock in %1 — %2")
                    .arg(folder, QString::fromLocal8Bit(strerror(errno))));
        return true;
    }
    if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
        char text[32] = {};
        [[maybe_unused]] const auto got = ::pread(lock, text, sizeof text - 1, 0);
        holder = QByteArray(text).trimmed().toLongLong();
        return false;
    }
    const QByteArray pid = QByteArray::number(static_cast<qint64>(::getpid())) + '\n';
    [[maybe_unused]] const bool written =
        ::ftruncate(lock, 0) == 0 && ::pwrite(lock, pid.constData(), static_cast<size_t>(pid.size()), 0) > 0;
    return true;
}

void SingleInstance::listen(std::function<void()> toggled) {
    QObject::connect(&server, &QLocalServer::newConnection, this, [this, toggled] {
        while (QLocalSocket* peer = server.nextPendingConnection())
            serve(peer, toggled);
    });
    server.setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(socketPath(folder)); // left by a copy that was killed; the lock says that none runs
    if (!server.listen(socketPath(folder)))
        logLine(QStringLiteral("Ovalin: `ovalin toggle` will not work — %1").arg(server.errorString()));
}

std::optional<QString> SingleInstance::sendToggle(const QString& runtimeDir) {
    QLocalSocket socket;
    socket.connectToServer(socketPath(runtimeDir));
    if (!socket.waitForConnected(WAIT_MS))
        return QStringLiteral("Ovalin is not running — start it with `ovalin`");
    socket.write(TOGGLE);
    const QDeadlineTimer deadline(WAIT_MS);
    while (!socket.canReadLine() && socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
    }
    return socket.readLine() == DONE ? std::nullopt : std::optional(QStringLiteral("Ovalin runs but does not answer"));
}

} // namespace ovalin
