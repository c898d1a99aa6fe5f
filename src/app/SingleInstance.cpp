#include "SingleInstance.h"

#include "base/Log.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QSysInfo>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QByteArray TOGGLE = QByteArrayLiteral("toggle\n");
const QByteArray DONE = QByteArrayLiteral("ok\n");
constexpr int WAIT_MS = 2000;

QString socketPath(const QString& folder) { return folder + u"/ovalin.socket"_s; }
QString lockPath(const QString& folder) { return folder + u"/ovalin.lock"_s; }

// One home may serve several machines.
QString homeLockPath(const QString& folder) {
    return folder + QLatin1Char('/') + QSysInfo::machineHostName() + u".lock"_s;
}

// A folder in /tmp may have been put there by somebody else.
bool ownFolder(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    QDir().mkpath(QFileInfo(folder).path());
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

SingleInstance::SingleInstance(Folders theFolders)
    : folders(std::move(theFolders)) {}

SingleInstance::~SingleInstance() {
    server.close();
    for (const int each : {lock, homeLock}) {
        if (each >= 0)
            ::close(each);
    }
}

bool SingleInstance::acquire() {
    if (!folders.stateDir.isEmpty() && ownFolder(folders.stateDir) &&
        !takeLock(homeLockPath(folders.stateDir), homeLock))
        return false;
    if (!ownFolder(folders.runtimeDir)) {
        logLine(u"Ovalin: %1 is not a folder of this user — running without the single-instance lock"_s.arg(
            folders.runtimeDir));
        return true;
    }
    return takeLock(lockPath(folders.runtimeDir), lock);
}

// False when another copy holds it. A lock that cannot be had for another reason is logged, and done without.
bool SingleInstance::takeLock(const QString& file, int& taken) {
    taken = ::open(QFile::encodeName(file).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (taken < 0) {
        logLine(u"Ovalin: cannot open the lock %1 — %2"_s.arg(file, QString::fromLocal8Bit(strerror(errno))));
        return true;
    }
    if (::flock(taken, LOCK_EX | LOCK_NB) != 0) {
        char text[32] = {};
        [[maybe_unused]] const auto got = ::pread(taken, text, sizeof text - 1, 0);
        holder = QByteArray(text).split('\n').constFirst().toLongLong();
        return false;
    }
    const QByteArray text =
        QByteArray::number(static_cast<qint64>(::getpid())) + '\n' + QFile::encodeName(folders.runtimeDir) + '\n';
    [[maybe_unused]] const bool written =
        ::ftruncate(taken, 0) == 0 && ::pwrite(taken, text.constData(), static_cast<size_t>(text.size()), 0) > 0;
    return true;
}

void SingleInstance::listen(std::function<void()> toggled) {
    QObject::connect(&server, &QLocalServer::newConnection, this, [this, toggled] {
        while (QLocalSocket* peer = server.nextPendingConnection())
            serve(peer, toggled);
    });
    server.setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(
        socketPath(folders.runtimeDir)); // left by a copy that was killed; the lock says that none runs
    if (!server.listen(socketPath(folders.runtimeDir)))
        logLine(u"Ovalin: `ovalin toggle` will not work — %1"_s.arg(server.errorString()));
}

std::optional<QString> SingleInstance::sendToggle(const Folders& folders) {
    QLocalSocket socket;
    QFile elsewhere(homeLockPath(folders.stateDir));
    socket.connectToServer(socketPath(folders.runtimeDir));
    if (!socket.waitForConnected(WAIT_MS) && elsewhere.open(QIODevice::ReadOnly))
        socket.connectToServer(socketPath(
            QFile::decodeName(elsewhere.read(4096).split('\n').value(1)))); // of a running copy or a dead one
    if (!socket.waitForConnected(WAIT_MS))
        return u"Ovalin is not running — start it with `ovalin`"_s;
    socket.write(TOGGLE);
    const QDeadlineTimer deadline(WAIT_MS);
    while (!socket.canReadLine() && socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
    }
    return socket.readLine() == DONE ? std::nullopt : std::optional(u"Ovalin runs but does not answer"_s);
}

} // namespace ovalin
