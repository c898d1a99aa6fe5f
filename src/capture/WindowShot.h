#pragma once

#include "LeftAlone.h"

#include "platform/TextRecognizer.h"
#include "platform/Windows.h"
#include "platform/helpers/Tools.h"

#include <QByteArray>
#include <QImage>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace ovalin {

/// Screenshots are at most this wide (pixels).
inline constexpr int SHOT_MAX_WIDTH = 1400;

/// The application's main window: the largest ordinary one of more than 10,000 square pixels, the frontmost of equals.
/// `windows`: front to back.
[[nodiscard]] std::optional<WindowId> frontWindowID(const std::vector<WindowInfo>& windows, qint32 pid);

/// The picture as a PNG of at most `maxW` pixels width, always encoded anew: sRGB, 8-bit RGBA. Absent when it is no
/// whole picture, larger than any screen, a symbolic link or somebody else's file.
[[nodiscard]] std::optional<QByteArray> downscalePNG(const QString& path, int maxW);

/// The same of a picture in memory.
[[nodiscard]] std::optional<QByteArray> downscalePNG(const QImage& image, int maxW);

/// Takes and reads screenshots. All of it blocks: worker threads, several at once if need be.
class WindowShots {
public:
    /// References: the caller keeps them alive. `patience`: how long the screenshot program may take. `exclude`: what
    /// is left alone besides password managers.
    WindowShots(Windows& windows, TextRecognizer& recognizer, Tools tools,
                std::chrono::milliseconds patience = std::chrono::seconds(5), QStringList exclude = {});

    /// PNG of the application's main window, or of the main display when it has none; at most SHOT_MAX_WIDTH wide. None
    /// of a window that is left alone, nor of a display with such a one.
    [[nodiscard]] std::optional<QByteArray> captureWindowPNG(qint32 pid) const;

    /// The text in a picture, trimmed; absent when there is none.
    [[nodiscard]] std::optional<QString> ocrText(const QByteArray& png) const;

    /// Where the desktop takes the picture by itself, before the panel covers the window: that one, of the process, in
    /// place of what the screenshot program would see now. Null: there is none. Set before use.
    std::function<QImage(qint32 pid)> taken;

private:
    [[nodiscard]] bool mayPicture(const std::vector<WindowInfo>& onScreen, std::optional<WindowId> window) const;

    Windows& windows;
    TextRecognizer& recognizer;
    const Tools tools;
    const std::chrono::milliseconds patience;
    const QStringList exclude;
};

} // namespace ovalin
