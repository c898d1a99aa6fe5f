#pragma once

#include <QBitmap>
#include <QImage>
#include <QRect>

class QPainter;

namespace ovalin {

class PanelHost;

/// The blurred backdrop under a readable tint that all cards are made of. Main thread.
///
/// What lies behind a card is grabbed once, before the card shows: X11 offers no blur that works everywhere, and a
/// picture serves with and without a compositing manager.
class Glass {
public:
    /// What lies behind the card, which is to be there (logical pixels of all screens); null: nobody knows.
    void setBackdrop(QRect area, const QImage& picture);

    /// Blurs and paints the ground once, for paint() to copy. To be called while the X server maps the window: there is
    /// nothing else to do just then, and the first frame is done the earlier.
    void prepare(qreal radius, bool sharpCorners);

    /// The card moved or grew: its backdrop now is `area`. Adds what is newly uncovered below by a second grab of that
    /// strip; must be called before the window covers it.
    void extendTo(QRect area, PanelHost& host);

    /// The card was dragged away from what was grabbed: from now on it is nearly opaque.
    void setStale();
    [[nodiscard]] bool isStale() const { return stale; }

    /// Paints the card's ground into `card`. `sharpCorners`: no compositing manager, so the grabbed pixels stand
    /// outside the rounded corners.
    void paint(QPainter& painter, QRectF card, qreal radius, bool sharpCorners) const;

private:
    void refresh();
    void render(QPainter& painter, QRectF card, qreal radius, bool sharpCorners) const;

    QRect area;
    QImage sharp;
    QImage blurred;
    QImage rendered; // the whole ground, while it fits the area
    bool renderedSharp = false;
    int tintAlpha = 255;
    bool stale = false;
};

/// The shape of a card of this size, for windows that cannot be translucent.
[[nodiscard]] QBitmap roundedMask(QSize size, qreal radius);

/// Three box blurs on a quarter-size copy, close to a Gaussian of `radius` pixels; its pixels are plain ones, whatever
/// the scale of `image`. Pure.
[[nodiscard]] QImage blurredCopy(const QImage& image, int radius);

/// How opaque the tint must be for text to stay readable over the darkest part of `backdrop`, or in a dark look the
/// brightest: 0..255.
[[nodiscard]] int readableTintAlpha(const QImage& backdrop);

} // namespace ovalin
