#include "PipeReader.h"

#include <array>
#include <cerrno>

#include <poll.h>

namespace ovalin {

std::optional<QByteArray> readToEnd(const Descriptor& from, Deadline deadline, qsizetype most) {
    QByteArray bytes;
    std::array<char, 64 * 1024> piece;
    while (bytes.size() <= most) {
        pollfd ready{from.get(), POLLIN, 0};
        const int found = ::poll(&ready, 1, pollTimeout(deadline));
        if (found == 0 || (found < 0 && errno != EINTR))
            return {};
        const auto count = ::read(from.get(), piece.data(), piece.size());
        if (count == 0)
            return bytes;
        if (count > 0)
            bytes.append(piece.data(), count);
        else if (errno != EINTR && errno != EAGAIN)
            return {};
    }
    return {};
}

} // namespace ovalin
