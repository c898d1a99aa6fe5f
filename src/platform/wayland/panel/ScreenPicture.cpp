#include "ScreenPicture.h"

namespace ovalin {

namespace {

struct Frame {
    uint32_t format = 0;
    QSize size;
    int stride = 0;
    bool upsideDown = false, ready = false, failed = false;
};

const zwlr_screencopy_frame_v1_listener frameListener = {
    [](void* data, zwlr_screencopy_frame_v1*, uint32_t format, uint32_t width, uint32_t height, uint32_t stride) {
        auto& frame = *static_cast<Frame*>(data);
        frame.format = format;
        frame.size = QSize(static_cast<int>(width), static_cast<int>(height));
        frame.stride = static_cast<int>(stride);
    },
    [](void* data, zwlr_screencopy_frame_v1*, uint32_t flags) {
        static_cast<Frame*>(data)->upsideDown = flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT;
    },
    [](void* data, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {
        static_cast<Frame*>(data)->ready = true;
    },
    [](void* data, zwlr_screencopy_frame_v1*) { static_cast<Frame*>(data)->failed = true; },
    [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t, uint32_t) {},
    [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {},
    [](void*, zwlr_screencopy_frame_v1*) {},
};

/// Of four bytes a pixel, as all compositors have one.
QImage::Format qtFormat(uint32_t format) {
    switch (format) {
    case WL_SHM_FORMAT_ARGB8888:
    case WL_SHM_FORMAT_XRGB8888:
        return QImage::Format_RGB32;
    case WL_SHM_FORMAT_ABGR8888:
    case WL_SHM_FORMAT_XBGR8888:
        return QImage::Format_RGBX8888;
    case WL_SHM_FORMAT_XRGB2101010:
    case WL_SHM_FORMAT_ARGB2101010:
        return QImage::Format_RGB30;
    case WL_SHM_FORMAT_XBGR2101010:
    case WL_SHM_FORMAT_ABGR2101010:
        return QImage::Format_BGR30;
    default:
        return QImage::Format_Invalid;
    }
}

} // namespace

QImage pictureOf(ScreenConnection& connection, const ScreenConnection::Output& output, const QRect& area,
                 ScreenDeadline deadline) {
    if (!connection.screencopy || area.isEmpty())
        return {};
    Frame frame;
    const Owned<zwlr_screencopy_frame_v1> proxy(zwlr_screencopy_manager_v1_capture_output_region(
        connection.screencopy, 0, output.proxy, area.x(), area.y(), area.width(), area.height()));
    zwlr_screencopy_frame_v1_add_listener(proxy.get(), &frameListener, &frame);
    if (!connection.waitUntil(deadline, [&] { return frame.failed || !frame.size.isEmpty(); }) || frame.failed)
        return {};
    const QImage::Format format = qtFormat(frame.format);
    if (format == QImage::Format_Invalid)
        return {};
    const auto buffer = connection.makeBuffer(frame.size, frame.stride, frame.format);
    if (!buffer.proxy)
        return {};
    zwlr_screencopy_frame_v1_copy(proxy.get(), buffer.proxy.get());
    if (!connection.waitUntil(deadline, [&] { return frame.failed || frame.ready; }) || frame.failed)
        return {};
    const QImage shown(buffer.pixels.get(), frame.size.width(), frame.size.height(), frame.stride, format);
    QImage picture = (frame.upsideDown ? shown.mirrored() : shown.copy()).convertToFormat(QImage::Format_RGB32);
    picture.setDevicePixelRatio(qreal(frame.size.width()) / area.width());
    return picture;
}

} // namespace ovalin
