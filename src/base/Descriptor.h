#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace ovalin {

/// One file descriptor, closed when it goes. Negative: none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number)
        : fd(number) {}
    Descriptor(Descriptor&& other) noexcept
        : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }
    void close() {
        if (fd >= 0)
            ::close(std::exchange(fd, -1));
    }

private:
    int fd = -1;
};

/// Whether this process can open four more files. Any thread.
[[nodiscard]] inline bool descriptorsAreFree() {
    std::array<Descriptor, 4> tried;
    return std::all_of(tried.begin(), tried.end(), [](Descriptor& next) {
        next = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        return static_cast<bool>(next);
    });
}

} // namespace ovalin
