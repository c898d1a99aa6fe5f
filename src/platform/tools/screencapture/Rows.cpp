#include "OwnPixels.h"

#include "Failure.h"

#include <algorithm>

#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

namespace ovalin {

namespace {

constexpr size_t STRIPE_BYTES = size_t{8} << 20;

/// Memory that the server writes into (MIT-SHM 1.2); without it the pixels come through the socket.
class SharedMemory {
public:
    SharedMemory(Screen& screen, size_t theSize)
        : x(screen)
        , size(theSize) {
        const int fd = x.sharedMemory ? ::memfd_create("ovalin-shot", MFD_CLOEXEC) : -1;
        if (fd < 0)
            return;
        void* mapped = ::ftruncate(fd, static_cast<off_t>(size)) == 0
                           ? ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
                           : MAP_FAILED;
        if (mapped == MAP_FAILED) {
            ::close(fd);
            return;
        }
        bytes = static_cast<uint8_t*>(mapped);
        const auto id = xcb_generate_id(x.get());
        // libxcb closes the descriptor once it is sent.
        const XReply<xcb_generic_error_t> error(
            xcb_request_check(x.get(), xcb_shm_attach_fd_checked(x.get(), id, fd, false)));
        if (!error)
            segment = id;
    }
    ~SharedMemory() {
        if (segment)
            xcb_shm_detach(x.get(), segment);
        if (bytes)
            ::munmap(bytes, size);
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    Screen& x;
    size_t size;
    uint8_t* bytes = nullptr;
    uint32_t segment = 0;
};

} // namespace

void forEachRow(Screen& x, const Source& source, const std::function<void(int, const uint8_t*)>& row) {
    const Rect& area = source.area;
    const size_t stride = source.format.stride(area.width);
    const int stripe = std::clamp(static_cast<int>(STRIPE_BYTES / stride), 1, area.height);
    const SharedMemory shared(x, stride * static_cast<size_t>(stripe));
    std::vector<uint8_t> rgba(static_cast<size_t>(area.width) * 4);

    for (int top = 0; top < area.height; top += stripe) {
        const int rows = std::min(stripe, area.height - top);
        const auto left = static_cast<int16_t>(area.x);
        const auto first = static_cast<int16_t>(area.y + top);
        const auto width = static_cast<uint16_t>(area.width);
        const auto height = static_cast<uint16_t>(rows);
        XReply<xcb_get_image_reply_t> sent;
        const uint8_t* pixels = nullptr;
        if (shared.segment) {
            const XReply<xcb_shm_get_image_reply_t> reply(
                xcb_shm_get_image_reply(x.get(),
                                        xcb_shm_get_image(x.get(), source.pixmap, left, first, width, height, ~0U,
                                                          XCB_IMAGE_FORMAT_Z_PIXMAP, shared.segment, 0),
                                        nullptr));
            pixels = reply ? shared.bytes : nullptr;
        } else {
            sent.reset(xcb_get_image_reply(
                x.get(),
                xcb_get_image(x.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, source.pixmap, left, first, width, height, ~0U),
                nullptr));
            const bool whole = sent && static_cast<size_t>(xcb_get_image_data_length(sent.get())) >=
                                           stride * static_cast<size_t>(rows);
            pixels = whole ? xcb_get_image_data(sent.get()) : nullptr;
        }
        if (!pixels)
            throw Failure("the X server gave no pixels");
        for (int y = 0; y < rows; ++y) {
            source.format.toRgba(pixels + stride * static_cast<size_t>(y), area.width, rgba.data());
            row(top + y, rgba.data());
        }
    }
}

} // namespace ovalin
