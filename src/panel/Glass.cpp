#include "Glass.h"

#include "Palette.h"

#include "platform/PanelHost.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <vector>

namespace ovalin {

namespace {

constexpr int SHRINK = 4;
constexpr int BLUR_RADIUS = 24;

// One box blur along a line of pixels that lie `step` apart; edge pixels count as repeated.
void boxBlurLine(QRgb* line, int length, std::ptrdiff_t step, int radius, std::vector<QRgb>& copy) {
    copy.resize(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i)
        copy[static_cast<size_t>(i)] = line[i * step];
    const auto at = [&](int i) { return copy[static_cast<size_t>(std::clamp(i, 0, length - 1))]; };
    int red = 0, green = 0, blue = 0;
    for (int i = -radius; i <= radius; ++i) {
        red += qRed(at(i));
        green += qGreen(at(i));
        blue += qBlue(at(i));
    }
    const int count = 2 * radius + 1;
    for (int i = 0; i < length; ++i) {
        line[i * step] = qRgb(red / count, green / count, blue / count);
        const QRgb leaves = at(i - radius), enters = at(i + radius + 1);
        red += qRed(enters) - qRed(leaves);
        green += qGreen(enters) - qGreen(leaves);
        blue += qBlue(enters) - qBlue(leaves);
    }
}

} // namespace

QImage blurredCopy(const QImage& image, int radius) {
    if (image.isNull())
        return {};
    const QSize small(std::max(1, image.width() / SHRINK), std::max(1, image.height() / SHRINK));
    QImage work =
        image.scaled(small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).convertToFormat(QImage::Format_RGB32);
    work.setDevicePixelRatio(1); // a brush would divide by it
    const int r = std::max(1, radius / SHRINK);
    auto* pixels = reinterpret_cast<QRgb*>(work.bits());
    const auto stride = static_cast<std::ptrdiff_t>(work.bytesPerLine() / qsizetype(sizeof(QRgb)));
    std::vector<QRgb> copy;
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < work.height(); ++y)
            boxBlurLine(pixels + y * stride, work.width(), 1, r, copy);
        for (int x = 0; x < work.width(); ++x)
            boxBlurLine(pixels + x, work.height(), stride, r, copy);
    }
    return work;
}

QBitmap roundedMask(QSize size, qreal radius) {
    QBitmap mask(size);
    mask.fill(Qt::color0);
    QPainter painter(&mask);
    painter.setPen(Qt::color1);
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(QRectF(QPointF(), size).adjusted(0, 0, -1, -1), radius, radius);
    return mask;
}

int readableTintAlpha(const QImage& backdrop) {
    const Palette::Colors& colors = Palette::colors();
    if (colors.opaque || backdrop.isNull()) // what lies below would show through sharp
        return 255;
    const int material = qGray(colors.material.rgb());
    const bool light = material > colors.readable;
    const QImage sample = backdrop.scaled(24, 8, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    int worst = colors.readable;
    for (int y = 0; y < sample.height(); ++y) {
        for (int x = 0; x < sample.width(); ++x) {
            const int gray = qGray(sample.pixel(x, y));
            worst = light ? std::min(worst, gray) : std::max(worst, gray);
        }
    }
    return std::clamp(255 * (colors.readable - worst) / (material - worst), 150, 245);
}

void Glass::setBackdrop(QRect newArea, const QImage& picture) {
    area = newArea;
    stale = false;
    sharp = picture;
    blurred = rendered = {};
}

void Glass::prepare(qreal radius, bool sharpCorners) {
    refresh();
    QImage ground(area.size() * std::max(sharp.devicePixelRatio(), 1.0), QImage::Format_ARGB32_Premultiplied);
    ground.setDevicePixelRatio(std::max(sharp.devicePixelRatio(), 1.0));
    ground.fill(Qt::transparent);
    QPainter painter(&ground);
    render(painter, QRectF(QPointF(), area.size()), radius, sharpCorners);
    painter.end();
    rendered = ground;
    renderedSharp = sharpCorners;
}

void Glass::extendTo(QRect newArea, PanelHost& host) {
    rendered = {};
    if (stale || sharp.isNull()) {
        area = newArea;
        return;
    }
    const qreal ratio = sharp.devicePixelRatio();
    QImage whole(newArea.size() * ratio, QImage::Format_RGB32);
    whole.setDevicePixelRatio(ratio);
    whole.fill(Palette::colors().bg);
    QPainter painter(&whole);
    painter.drawImage(area.topLeft() - newArea.topLeft(), sharp);
    const QRegion uncovered = QRegion(newArea) - QRegion(area);
    for (const QRect& strip : uncovered)
        painter.drawImage(strip.topLeft() - newArea.topLeft(), host.backdrop(strip));
    painter.end();
    sharp = whole;
    area = newArea;
    refresh();
}

void Glass::setStale() {
    if (stale)
        return;
    stale = true;
    sharp = blurred = rendered = {};
    tintAlpha = readableTintAlpha({});
}

void Glass::refresh() {
    blurred = blurredCopy(sharp, qRound(BLUR_RADIUS * sharp.devicePixelRatio()));
    tintAlpha = readableTintAlpha(blurred);
    rendered = {};
}

void Glass::paint(QPainter& painter, QRectF card, qreal radius, bool sharpCorners) const {
    if (!rendered.isNull() && card.size() == area.size() && renderedSharp == sharpCorners)
        painter.drawImage(card.topLeft(), rendered);
    else
        render(painter, card, radius, sharpCorners);
    painter.setRenderHint(QPainter::Antialiasing);
}

void Glass::render(QPainter& painter, QRectF card, qreal radius, bool sharpCorners) const {
    const Palette::Colors& colors = Palette::colors();
    painter.setRenderHint(QPainter::Antialiasing);
    if (sharpCorners) {
        if (sharp.isNull())
            painter.fillRect(card, colors.bg);
        else
            painter.drawImage(QPointF(0, 0), sharp);
    }
    QPainterPath shape;
    shape.addRoundedRect(card, radius, radius);
    if (!blurred.isNull()) {
        // As a brush, not through a clip: clip edges are not anti-aliased.
        QBrush backdrop(blurred);
        backdrop.setTransform(QTransform::fromTranslate(card.x(), card.y())
                                  .scale(card.width() / blurred.width(), card.height() / blurred.height()));
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.fillPath(shape, backdrop);
    }
    QColor upper = colors.material.lighter(103), lower = colors.material;
    upper.setAlpha(std::min(255, tintAlpha + 8));
    lower.setAlpha(tintAlpha);
    QLinearGradient tint(card.topLeft(), card.bottomLeft());
    tint.setColorAt(0, upper);
    tint.setColorAt(0.35, lower);
    tint.setColorAt(1, lower);
    painter.fillPath(shape, tint);
    painter.fillPath(shape, colors.glassTint);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colors.shade, 1));
    painter.drawRoundedRect(card.adjusted(.5, .5, -.5, -.5), radius - .5, radius - .5);
    painter.setPen(QPen(colors.rim, 1));
    painter.drawRoundedRect(card.adjusted(1.5, 1.5, -1.5, -1.5), radius - 1.5, radius - 1.5);
}

} // namespace ovalin
