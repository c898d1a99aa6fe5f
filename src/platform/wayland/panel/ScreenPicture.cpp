#include "ScreenPicture.h"

#include <QTransform>

namespace ovalin {

namespace {

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

ScreenPicture::ScreenPicture(const OutputConnection& theConnection, const OutputConnection::Output& output,
                             std::optional<QRect> part)
    : connection(theConnection)
    , transform(output.transform) {
    static const zwlr_screencopy_frame_v1_listener listener = {
        [](void* self, zwlr_screencopy_frame_v1*, uint32_t pixelFormat, uint32_t width, uint32_t height,
           uint32_t stride) {
            static_cast<ScreenPicture*>(self)->copyInto(QSize(static_cast<int>(width), static_cast<int>(height)),
                                                        static_cast<int>(stride), pixelFormat);
        },
        [](void* self, zwlr_screencopy_frame_v1*, uint32_t flags) {
            static_cast<ScreenPicture*>(self)->upsideDown = flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT;
        },
        [](void* self, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {
            static_cast<ScreenPicture*>(self)->ready = true;
        },
        [](void* self, zwlr_screencopy_frame_v1*) { static_cast<ScreenPicture*>(self)->failed = true; },
        [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t, uint32_t) {},
        [](void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {},
        [](void*, zwlr_screencopy_frame_v1*) {},
    };
    if (!connection.screencopy) {
        failed = true;
        return;
    }
    frame.reset(part ? zwlr_screencopy_manager_v1_capture_output_region(
                           connection.screencopy, 0, output.proxy, part->x(), part->y(), part->width(), part->height())
                     : zwlr_screencopy_manager_v1_capture_output(connection.screencopy, 0, output.proxy));
    zwlr_screencopy_frame_v1_add_listener(frame.get(), &listener, this);
}

ScreenPicture::~ScreenPicture() = default;

void ScreenPicture::copyInto(QSize pictureSize, int stride, uint32_t pixelFormat) {
    size = pictureSize;
    bytesPerLine = stride;
    format = qtFormat(pixelFormat);
    if (format != QImage::Format_Invalid && stride / 4 >= size.width())
        buffer = connection.makeBuffer(size, stride, pixelFormat);
    if (!buffer.proxy) {
        failed = true;
        return;
    }
    zwlr_screencopy_frame_v1_copy(frame.get(), buffer.proxy.get());
}

QImage ScreenPicture::image() const {
    if (!ready)
        return {};
    const auto release = [](void* pixels) { delete static_cast<std::shared_ptr<uchar>*>(pixels); };
    const uchar* const first = buffer.pixels.get();
    const QImage shown(first, size.width(), size.height(), bytesPerLine, format, release,
                       new std::shared_ptr(buffer.pixels));
    return upright(upsideDown ? shown.mirrored() : shown, transform);
}

QImage upright(const QImage& picture, int32_t transform) {
    if (transform == WL_OUTPUT_TRANSFORM_NORMAL)
        return picture;
    const bool mirrored = transform & WL_OUTPUT_TRANSFORM_FLIPPED;
    const int quarters = transform & 3;
    const QImage turned = picture.transformed(QTransform().rotate(90.0 * quarters));
    return mirrored ? turned.mirrored(true, false) : turned;
}

QImage partOf(const QImage& picture, QSize whole, const QRect& area) {
    if (picture.isNull() || whole.isEmpty() || area.isEmpty())
        return {};
    const qreal ratio = qreal(picture.width()) / whole.width();
    const QRect pixels(QRectF(QPointF(area.topLeft()) * ratio, QSizeF(area.size()) * ratio).toRect());
    QImage part = picture.copy(pixels).convertToFormat(QImage::Format_RGB32);
    part.setDevicePixelRatio(qreal(part.width()) / area.width());
    return part;
}

} // namespace ovalin
