#include "SwayIpc.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace ovalin {

namespace {

constexpr char MAGIC[] = "i3-ipc";
constexpr qsizetype MAGIC_SIZE = 6, HEADER_SIZE = MAGIC_SIZE + 8;
constexpr quint32 EVENT = 0x80000000;
constexpr quint32 MOST_BYTES = 64 * 1024 * 1024;

Descriptor connectTo(const QByteArray& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return {};
    std::copy(path.begin(), path.end(), address.sun_path);
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return {};
    return socket;
}

quint32 numberAt(const QByteArray& bytes, qsizetype at) {
    quint32 number = 0; // in the machine's own order
    std::memcpy(&number, bytes.constData() + at, sizeof number);
    return number;
}

} // namespace

SwayIpc::SwayIpc(EventThread& theThread, const QByteArray& path, std::function<void(Event, const QJsonObject&)> theTold)
    : thread(theThread)
    , socket(connectTo(path))
    , told(std::move(theTold)) {
    if (socket)
        thread.watch(socket.get(), POLLIN, [this] { ready(); });
}

SwayIpc::~SwayIpc() { lose(); }

void SwayIpc::lose() {
    if (!socket)
        return;
    thread.unwatch(socket.get());
    socket.close();
    waiting.clear();
}

void SwayIpc::ask(Ask what, const QByteArray& words, Answer answer) {
    if (!socket)
        return;
    const quint32 header[] = {static_cast<quint32>(words.size()), static_cast<quint32>(what)};
    toSend.append(MAGIC).append(reinterpret_cast<const char*>(header), sizeof header).append(words);
    waiting.push_back(std::move(answer));
    flush();
}

void SwayIpc::command(const QByteArray& words, std::function<void(bool)> answer) {
    ask(Ask::Command, words, [answer = std::move(answer)](const QJsonDocument& results) {
        const QJsonArray all = results.array();
        if (answer)
            answer(!all.isEmpty() && std::all_of(all.begin(), all.end(), [](const QJsonValue& each) {
                return each.toObject().value(QLatin1String("success")).toBool();
            }));
    });
}

void SwayIpc::flush() {
    const auto sent = ::send(socket.get(), toSend.constData(), static_cast<size_t>(toSend.size()), MSG_NOSIGNAL);
    if (sent > 0)
        toSend.remove(0, sent);
    const auto events = static_cast<short>(toSend.isEmpty() ? POLLIN : POLLIN | POLLOUT);
    thread.watch(socket.get(), events, [this] { ready(); });
}

void SwayIpc::ready() {
    std::array<char, 64 * 1024> piece;
    const auto count = ::read(socket.get(), piece.data(), piece.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
        return lose();
    if (count > 0)
        incoming.append(piece.data(), count);
    if (!toSend.isEmpty())
        flush();
    takeMessages();
}

void SwayIpc::takeMessages() {
    while (incoming.size() >= HEADER_SIZE) {
        const quint32 size = numberAt(incoming, MAGIC_SIZE), type = numberAt(incoming, MAGIC_SIZE + 4);
        if (!incoming.startsWith(MAGIC) || size > MOST_BYTES)
            return lose();
        if (incoming.size() < HEADER_SIZE + static_cast<qsizetype>(size))
            return;
        const auto message = QJsonDocument::fromJson(incoming.mid(HEADER_SIZE, size));
        incoming.remove(0, HEADER_SIZE + size);
        if (type & EVENT) {
            told(static_cast<Event>(type), message.object());
        } else if (!waiting.empty()) {
            const Answer answer = std::move(waiting.front());
            waiting.pop_front();
            if (answer)
                answer(message);
        }
    }
}

} // namespace ovalin
