#pragma once

#include <fcntl.h>
#include <unistd.h>

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

} // namespace ovalin
