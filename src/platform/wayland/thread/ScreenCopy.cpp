#include "ScreenCopy.h"

#include "base/Descriptor.h"

#include <algorithm>
#include <memory>

#include <sys/mman.h>
#include <unistd.h>

#include "wlr-screencopy-unstable-v1-client-protocol.h"
#include <wayland-client.h>

namespace ovalin {

namespace {

using Frame = zwlr_screencopy_frame_v1;

constexpr quint32 MOST_BYTES = 256U * 1024 * 1024; // a screen of 8k has 133

/// One picture on its way; it deletes itself when it is there, or failed.
class Copy {
public:
    Copy(wl_shm* theMemory, Frame* theFrame, std::function<void(QImage)> theDone)
        : memory(theMemory)
        , frame(theFrame)
        , done(std::move(theDone)) {
        static const zwlr_screencopy_frame_v1_listener listener{
            [](void* self, Frame*, quint32 wlFormat, quint32 theWidth, quint32 theHeight, quint32 theStride) {
                static_cast<Copy*>(self)->offered(wlFormat, theWidth, theHeight, theStride);
            },
            [](void* self, Frame*, quint32 theFlags) { static_cast<Copy*>(self)->flags = theFlags; },
            [](void* self, Frame*, quint32, quint32, quint32) { static_cast<Copy*>(self)->end(true); },
            [](void* self, Frame*) { static_cast<Copy*>(self)->end(false); },
            [](void*, Frame*, quint32, quint32, quint32, quint32) {},
            [](void*, Frame*, quint32, quint32, quint32) {},
            [](void*, Frame*) {}};
        zwlr_screencopy_frame_v1_add_listener(frame, &listener, this);
    }

private:
    ~Copy() {
        if (buffer)
            wl_buffer_destroy(buffer);
        if (pixels)
            ::munmap(pixels, size_t{stride} * height);
        zwlr_screencopy_frame_v1_destroy(frame);
    }

    static QImage::Format formatOf(quint32 format) {
        switch (format) { // the alpha of a screen means nothing
        case WL_SHM_FORMAT_XRGB8888:
        case WL_SHM_FORMAT_ARGB8888:
            return QImage::Format_RGB32;
        case WL_SHM_FORMAT_XBGR8888:
        case WL_SHM_FORMAT_ABGR8888:
            return QImage::Format_RGBX8888;
        default:
            return QImage::Format_Invalid;
        }
    }

    void offered(quint32 wlFormat, quint32 theWidth, quint32 theHeight, quint32 theStride) {
        if (buffer)
            return;
        format = formatOf(wlFormat);
        if (format == QImage::Format_Invalid || theHeight == 0 || theStride > MOST_BYTES / theHeight ||
            theStride / 4 < theWidth)
            return end(false);
        width = theWidth;
        height = theHeight;
        stride = theStride;
        const auto size = static_cast<qint32>(stride * height);
        const Descriptor file(::memfd_create("frame", MFD_CLOEXEC));
        if (!file || ::ftruncate(file.get(), size) != 0)
            return end(false);
        void* mapped = ::mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
        if (mapped == MAP_FAILED)
            return end(false);
        pixels = static_cast<uchar*>(mapped);
        wl_shm_pool* pool = wl_shm_create_pool(memory, file.get(), size);
        buffer = wl_shm_pool_create_buffer(pool, 0, static_cast<qint32>(width), static_cast<qint32>(height),
                                           static_cast<qint32>(stride), wlFormat);
        wl_shm_pool_destroy(pool);
        zwlr_screencopy_frame_v1_copy(frame, buffer);
    }

    void end(bool ready) {
        QImage picture;
        if (ready && pixels) {
            picture = QImage(pixels, static_cast<int>(width), static_cast<int>(height), static_cast<qsizetype>(stride),
                             format)
                          .copy();
            if (flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT)
                picture = std::move(picture).mirrored();
        }
        const auto tell = std::move(done);
        delete this;
        tell(std::move(picture));
    }

    wl_shm* const memory;
    Frame* const frame;
    std::function<void(QImage)> done;
    wl_buffer* buffer = nullptr;
    uchar* pixels = nullptr;
    quint32 width = 0, height = 0, stride = 0, flags = 0;
    QImage::Format format = QImage::Format_Invalid;
};

qint64 area(const QRect& rectangle) { return qint64{rectangle.width()} * rectangle.height(); }

} // namespace

void copyScreen(WaylandThread& thread, const QRect& part, std::function<void(QImage)> done) {
    const auto& globals = thread.globals();
    const auto& screens = thread.outputs();
    if (!globals.screenCopy || !globals.memory || screens.empty())
        return done({});
    const auto shown = [&part](const WaylandOutput& screen) { return area(screen.area & part); };
    const WaylandOutput& screen = part.isEmpty() ? screens.front() : *std::ranges::max_element(screens, {}, shown);
    const QRect there = part & screen.area;
    if (!part.isEmpty() && there.isEmpty())
        return done({});
    const QRect local = there.translated(-screen.area.topLeft());
    Frame* frame = part.isEmpty()
                       ? zwlr_screencopy_manager_v1_capture_output(globals.screenCopy, 0, screen.output)
                       : zwlr_screencopy_manager_v1_capture_output_region(
                             globals.screenCopy, 0, screen.output, local.x(), local.y(), local.width(), local.height());
    new Copy(globals.memory, frame, std::move(done));
}

} // namespace ovalin
