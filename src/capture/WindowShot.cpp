#include "WindowShot.h"

#include "ShotFile.h"

#include "base/children/ChildProcess.h"
#include "base/Log.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImage>
#include <QImageReader>

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qint64 LEAST_AREA = 10'000;      // square pixels; smaller windows are palettes and helpers
constexpr qint64 MOST_PIXELS = 64'000'000; // 8k has 33 million
constexpr int PNG_QUALITY = 70;            // zlib level 3: as small as the default for text, in two thirds of the time
constexpr int MOST_MEGABYTES = 512;        // decoded: MOST_PIXELS with 16 bits a channel

/// Opens a regular file of ours that has something in it, and nothing else.
bool openOwn(QFile& file, const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat status {};
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_size > 0 &&
        file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return true;
    ::close(fd);
    return false;
}

/// The whole picture, or a null image.
QImage decoded(QIODevice& device) {
    if (QImageReader::allocationLimit() < MOST_MEGABYTES)
        QImageReader::setAllocationLimit(MOST_MEGABYTES);
    QImageReader reader(&device, "png");
    const QSize size = reader.size();
    if (size.isEmpty() || qint64{size.width()} * size.height() > MOST_PIXELS)
        return {};
    QImage image;
    return reader.read(&image) ? image : QImage();
}

/// Premultiplied, so that scaling mixes no colour from where there is none.
QImage inStandardColors(QImage image) {
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace::SRgb);
    image.setColorSpace({});
    return std::move(image).convertToFormat(QImage::Format_RGBA8888_Premultiplied);
}

std::optional<QByteArray> encoded(const QImage& image) {
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.convertToFormat(QImage::Format_RGBA8888).save(&buffer, "PNG", PNG_QUALITY))
        return std::nullopt;
    return png;
}

} // namespace

std::optional<WindowId> frontWindowID(const std::vector<WindowInfo>& windows, qint32 pid) {
    if (pid < 1)
        return std::nullopt;
    std::optional<WindowId> largest;
    qint64 largestArea = LEAST_AREA;
    for (const WindowInfo& window : windows) {
        const qint64 area = qint64{window.frame.width()} * window.frame.height();
        if (window.ownerPid == pid && window.layer == 0 && area > largestArea) {
            largest = window.id;
            largestArea = area;
        }
    }
    return largest;
}

std::optional<QByteArray> downscalePNG(const QString& path, int maxW) {
    QFile file;
    if (!openOwn(file, path))
        return std::nullopt;
    const QImage image = decoded(file);
    return image.isNull() ? std::nullopt : downscalePNG(image, maxW);
}

std::optional<QByteArray> downscalePNG(const QImage& image, int maxW) {
    QSize size = image.size();
    if (size.width() > maxW)
        size = {maxW, static_cast<int>(qint64{size.height()} * maxW / size.width())};
    const QImage scaled = inStandardColors(image).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return scaled.isNull() ? std::nullopt : encoded(scaled);
}

WindowShots::WindowShots(Windows& theWindows, TextRecognizer& theRecognizer, Tools theTools,
                         std::chrono::milliseconds thePatience, QStringList theExclude)
    : windows(theWindows)
    , recognizer(theRecognizer)
    , tools(std::move(theTools))
    , patience(thePatience)
    , exclude(std::move(theExclude)) {}

bool WindowShots::mayPicture(const std::vector<WindowInfo>& onScreen, std::optional<WindowId> window) const {
    return std::ranges::none_of(onScreen, [&](const WindowInfo& each) {
        return (!window || each.id == *window) && isLeftAlone(each, exclude);
    });
}

std::optional<QByteArray> WindowShots::captureWindowPNG(qint32 pid) const {
    const auto onScreen = windows.onScreenWindows();
    const auto window = frontWindowID(onScreen, pid);
    if (!mayPicture(onScreen, window))
        return std::nullopt;
    if (taken) {
        const QImage picture = taken(pid);
        if (picture.isNull() || !mayPicture(windows.onScreenWindows(), window)) // it may show another page by now
            return std::nullopt;
        return downscalePNG(picture, SHOT_MAX_WIDTH);
    }
    const ShotFile file;
    if (file.path().isEmpty()) {
        logOnce(u"shot file"_s, u"Ovalin: no file for a screenshot in the temporary folder"_s);
        return std::nullopt;
    }
    QStringList arguments{u"-x"_s};
    if (window)
        arguments << u"-l"_s << QString::number(window->number);
    else
        arguments << u"-m"_s;
    arguments << u"-tpng"_s << file.path();

    RunOptions options;
    options.deadline = patience;
    options.grace = std::chrono::milliseconds(300);
    const ChildRun run = runToEnd({tools.screencapture, arguments, {}, {}}, options);
    // Whether there is a picture says the file, not the program's status.
    auto png = downscalePNG(file.path(), SHOT_MAX_WIDTH);
    if (png && !mayPicture(windows.onScreenWindows(), window)) // it may show another page by now
        return std::nullopt;
    if (!png)
        logLine(u"Ovalin: no screenshot: %1"_s.arg(run.timedOut ? u"it took too long"_s : run.end.describe()));
    return png;
}

std::optional<QString> WindowShots::ocrText(const QByteArray& png) const {
    const auto text = recognizer.recognize(png);
    const QString trimmed = text.value_or(QString()).trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

} // namespace ovalin
