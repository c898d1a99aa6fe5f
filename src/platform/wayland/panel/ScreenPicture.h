#pragma once

#include "OutputConnection.h"

#include <QImage>
#include <QRect>

#include <optional>

namespace ovalin {

/// A picture of an output without the pointer, asked for when this is made. The compositor takes it with its next
/// frame, at once when nothing moves. Main thread.
class ScreenPicture {
public:
    /// `part`: in the output's own logical pixels; absent: all of it.
    ScreenPicture(const OutputConnection& connection, const OutputConnection::Output& output,
                  std::optional<QRect> part = {});
    ~ScreenPicture();
    ScreenPicture(const ScreenPicture&) = delete;
    ScreenPicture& operator=(const ScreenPicture&) = delete;

    /// It is there, or will never be.
    [[nodiscard]] bool isOver() const { return ready || failed; }
    /// Upright, in the output's pixels, which it shares with others; null: there is none.
    [[nodiscard]] QImage image() const;

private:
    void copyInto(QSize size, int stride, uint32_t format);

    const OutputConnection& connection;
    const int32_t transform; // wl_output's
    Owned<zwlr_screencopy_frame_v1> frame;
    OutputConnection::Buffer buffer;
    QSize size;
    int bytesPerLine = 0;
    QImage::Format format = QImage::Format_Invalid;
    bool upsideDown = false, ready = false, failed = false;
};

/// The picture of an output that is turned or mirrored (wl_output's transform), as one sees it. Pure.
[[nodiscard]] QImage upright(const QImage& picture, int32_t transform);

/// A part of a picture of all of an output, with a copy of its pixels. `area`: in the output's own logical pixels,
/// which are `whole` in all; the device pixel ratio tells how many pixels one has. Pure.
[[nodiscard]] QImage partOf(const QImage& picture, QSize whole, const QRect& area);

/// What an output showed, and where it lies among the others (logical pixels).
struct ShownOutput {
    QRect frame;
    QImage picture;
};

} // namespace ovalin
