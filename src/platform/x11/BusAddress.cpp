#include "BusAddress.h"

#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ovalin {

namespace {

constexpr int ANSWER_MS = 2000;

class Socket {
public:
    Socket()
        : descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket() {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    const int descriptor;
};

QString socketAddress(const QString& path) {
    return QFileInfo::exists(path) ? QStringLiteral("unix:path=") + path : QString();
}

/// What to connect to, in the kernel's form: an abstract name begins with a zero byte.
std::optional<QByteArray> unixSocketName(const QString& address) {
    const QString first = address.section(QLatin1Char(';'), 0, 0);
    if (!first.startsWith(QLatin1String("unix:")))
        return {};
    for (const QString& pair : first.mid(5).split(QLatin1Char(','))) {
        const QByteArray value = QByteArray::fromPercentEncoding(pair.section(QLatin1Char('='), 1).toUtf8());
        if (pair.startsWith(QLatin1String("path=")))
            return value;
        if (pair.startsWith(QLatin1String("abstract=")))
            return '\0' + value;
    }
    return {};
}

bool connectTo(const Socket& socket, const QByteArray& name) {
    sockaddr_un address{};
    if (socket.descriptor < 0 || static_cast<size_t>(name.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    const auto length = offsetof(sockaddr_un, sun_path) + static_cast<size_t>(name.size());
    // Fails at once, with EAGAIN, when nobody accepts any more.
    return ::connect(socket.descriptor, reinterpret_cast<const sockaddr*>(&address), // NOLINT: the sockets API
                     static_cast<socklen_t>(length)) == 0;
}

} // namespace

QString sessionBusAddress() {
    const QString given = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!given.isEmpty() || runtimeDir.isEmpty())
        return given;
    return socketAddress(runtimeDir + QStringLiteral("/bus"));
}

QString systemBusAddress() {
    const QString given = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return given.isEmpty() ? socketAddress(QStringLiteral("/run/dbus/system_bus_socket")) : given;
}

bool busAnswers(const QString& address) {
    const auto name = unixSocketName(address);
    if (!name)
        return !address.isEmpty();
    const Socket socket;
    if (!connectTo(socket, *name))
        return false;
    const QByteArray hello = '\0' + QByteArray("AUTH EXTERNAL ") + QByteArray::number(::getuid()).toHex() + "\r\n";
    if (::send(socket.descriptor, hello.constData(), static_cast<size_t>(hello.size()), MSG_NOSIGNAL) != hello.size())
        return false;
    pollfd answer{socket.descriptor, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&answer, 1, ANSWER_MS);
    } while (ready < 0 && errno == EINTR);
    char byte = 0;
    return ready == 1 && ::recv(socket.descriptor, &byte, 1, 0) == 1;
}

} // namespace ovalin
