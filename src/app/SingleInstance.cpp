#include "SingleInstance.h"

#include "base/Descriptor.h"
#include "base/Log.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QPointer>
#include <QSysInfo>
#include <QTimer>

#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QByteArray TOGGLE = QByteArrayLiteral("toggle\n");
const QByteArray DONE = QByteArrayLiteral("ok\n");
constexpr qint64 LONGEST_LINE = 1 << 20;
constexpr std::chrono::seconds SILENCE{5};

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

QByteArray toLine(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n'; }

/// Reads the one line of a client, and answers it.
void serve(QLocalSocket* peer, const SingleInstance::Serve& reply) {
    QObject::connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
    auto* const silence = new QTimer(peer);
    QObject::connect(silence, &QTimer::timeout, peer, &QLocalSocket::abort);
    silence->start(SILENCE);
    QObject::connect(peer, &QLocalSocket::readyRead, peer, [peer, silence, reply] {
        if (!peer->canReadLine()) {
            if (peer->bytesAvailable() > LONGEST_LINE)
                peer->abort();
            return;
        }
        peer->disconnect(peer); // one message each
        silence->stop();
        QObject::connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
        const QByteArray line = peer->readLine();
        const bool toggles = line == TOGGLE;
        const QJsonObject message =
            toggles ? QJsonObject{{u"command"_s, u"toggle"_s}} : QJsonDocument::fromJson(line).object();
        if (message.isEmpty()) {
            peer->disconnectFromServer();
            return;
        }
        reply(message, [client = QPointer<QLocalSocket>(peer), toggles](const QJsonObject& answer) {
            if (!client)
                return;
            client->write(toggles ? DONE : toLine(answer));
            client->flush(); // the program may end next
            client->disconnectFromServer();
        });
    });
}

/// Connected to the running copy, wherever its socket lies; without a connection when none runs.
void connectTo(QLocalSocket& socket, const SingleInstance::Folders& folders, int limit) {
    socket.connectToServer(socketPath(folders.runtimeDir));
    QFile elsewhere(homeLockPath(folders.stateDir));
    if (socket.waitForConnected(limit) || !elsewhere.open(QIODevice::ReadOnly))
        return;
    socket.connectToServer(
        socketPath(QFile::decodeName(elsewhere.read(4096).split('\n').value(1)))); // of a running copy or a dead one
    std::ignore = socket.waitForConnected(limit);
}

/// For file systems that refuse every lock: whether a copy is there to answer.
bool someoneListens(const SingleInstance::Folders& folders) {
    QLocalSocket socket;
    connectTo(socket, folders, 200);
    return socket.state() == QLocalSocket::ConnectedState;
}

bool isHeld(const QString& file, const SingleInstance::Folders& folders) {
    const Descriptor lock(::open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC));
    if (!lock || ::flock(lock.get(), LOCK_SH | LOCK_NB) == 0)
        return false;
    return errno == EWOULDBLOCK || someoneListens(folders);
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
    const bool refused = ::flock(taken, LOCK_EX | LOCK_NB) != 0;
    if (refused && (errno == EWOULDBLOCK || someoneListens(folders))) {
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

void SingleInstance::listen(Serve reply) {
    QObject::connect(&server, &QLocalServer::newConnection, this, [this, reply = std::move(reply)] {
        while (QLocalSocket* peer = server.nextPendingConnection())
            serve(peer, reply);
    });
    server.setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(
        socketPath(folders.runtimeDir)); // left by a copy that was killed; the lock says that none runs
    if (!server.listen(socketPath(folders.runtimeDir)))
        logLine(u"Ovalin: `ovalin toggle` will not work — %1"_s.arg(server.errorString()));
}

tl::expected<QJsonObject, QString> SingleInstance::send(const Folders& folders, const QJsonObject& message,
                                                        std::chrono::milliseconds limit) {
    QLocalSocket socket;
    const QDeadlineTimer deadline(limit);
    connectTo(socket, folders, static_cast<int>(limit.count()));
    if (socket.state() != QLocalSocket::ConnectedState)
        return tl::unexpected(u"Ovalin is not running — start it with `ovalin`"_s);
    const bool toggles = message.value(u"command"_s) == u"toggle"_s;
    socket.write(toggles ? TOGGLE : toLine(message));
    while (!socket.canReadLine() && socket.bytesAvailable() < LONGEST_LINE &&
           socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
    }
    const QByteArray line = socket.readLine();
    if (toggles && line == DONE)
        return QJsonObject();
    if (line.isEmpty() && !deadline.hasExpired())
        return tl::unexpected(u"the running copy does not understand this — `ovalin quit` it or end it, and start it "
                              "again"_s);
    const QJsonDocument answer = QJsonDocument::fromJson(line);
    if (!answer.isObject())
        return tl::unexpected(u"Ovalin runs but does not answer"_s);
    if (answer.object().contains(u"error"_s))
        return tl::unexpected(answer.object().value(u"error"_s).toString());
    return answer.object();
}

bool SingleInstance::awaitEnd(const Folders& folders, std::chrono::milliseconds limit) {
    const QDeadlineTimer deadline(limit);
    const auto runs = [&] {
        return isHeld(lockPath(folders.runtimeDir), folders) || isHeld(homeLockPath(folders.stateDir), folders);
    };
    while (runs()) {
        if (deadline.hasExpired())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace ovalin
