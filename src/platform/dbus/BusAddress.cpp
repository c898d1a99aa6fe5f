#include "BusAddress.h"

#include "base/Descriptor.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>
#include <QUrl>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

/// The socket name of one `unix:` address; a leading NUL means the abstract name space. Empty: another transport.
QByteArray socketName(const QString& address) {
    if (!address.startsWith(QLatin1String("unix:")))
        return {};
    for (const QString& pair : address.mid(5).split(QLatin1Char(','))) {
        const QByteArray value = QByteArray::fromPercentEncoding(pair.section(QLatin1Char('='), 1).toUtf8());
        if (pair.startsWith(QLatin1String("path=")))
            return value;
        if (pair.startsWith(QLatin1String("abstract=")))
            return QByteArray(1, '\0') + value;
    }
    return {};
}

bool waitFor(int fd, short events, const QDeadlineTimer& deadline) {
    pollfd entry{fd, events, 0};
    int ready = 0;
    do
        ready = ::poll(&entry, 1, static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, 60'000)));
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

/// Opens the authentication conversation and waits for its first byte: a stopped daemon still accepts connections.
bool answersAuthentication(const QByteArray& name, const QDeadlineTimer& deadline) {
    sockaddr_un address{};
    if (name.isEmpty() || static_cast<size_t>(name.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    const size_t terminator = name.startsWith('\0') ? 0 : 1;
    const auto length =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(name.size()) + terminator);

    const Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A full backlog gives EAGAIN: nobody accepts, which is as good as silence.
    if (fd.get() < 0 || ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0)
        return false;
    const QByteArray hello = QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(::getuid()).toHex() + "\r\n";
    if (::send(fd.get(), hello.constData(), static_cast<size_t>(hello.size()), MSG_NOSIGNAL) != hello.size())
        return false;
    char first = 0;
    return waitFor(fd.get(), POLLIN, deadline) && ::recv(fd.get(), &first, 1, 0) == 1;
}

} // namespace

QString sessionBusAddress() {
    const QString given = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!given.isEmpty())
        return given;
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString socket = folder + u"/bus"_s;
    if (folder.isEmpty() || !QFile::exists(socket))
        return {};
    return u"unix:path="_s + QString::fromLatin1(QUrl::toPercentEncoding(socket, "/"));
}

QString systemBusAddress() {
    const QString given = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    const QString socket = u"/run/dbus/system_bus_socket"_s;
    return given.isEmpty() && QFile::exists(socket) ? u"unix:path="_s + socket : given;
}

bool busAnswers(const QString& address, QDeadlineTimer deadline) {
    const QStringList alternatives = address.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    return std::any_of(alternatives.begin(), alternatives.end(), [&](const QString& alternative) {
        return answersAuthentication(socketName(alternative), deadline);
    });
}

} // namespace ovalin
