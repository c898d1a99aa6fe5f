#include "panel/Glass.h"
#include "support/Testing.h"

#include <QColor>
#include <QPainter>

TEST(Glass, BlurKeepsTheMeanAndTakesTheDetail) {
    QImage stripes(320, 160, QImage::Format_RGB32);
    for (int y = 0; y < 160; ++y) {
        for (int x = 0; x < 320; ++x)
            stripes.setPixel(x, y, x % 8 < 4 ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
    }
    const QImage soft = blurredCopy(stripes, 24);
    for (int x = soft.width() / 3; x < 2 * soft.width() / 3; ++x) // edges repeat their last pixel
        EXPECT_NEAR(qGray(soft.pixel(x, soft.height() / 2)), 127, 12);
    EXPECT_TRUE(blurredCopy({}, 24).isNull());
    EXPECT_FALSE(blurredCopy(stripes.copy(0, 0, 1, 1), 24).isNull());
}

// A brush divides a picture's scale out once more: the backdrop was tiled, with a hard seam.
TEST(Glass, TheBlurredCopyHasPlainPixelsAtEveryScale) {
    for (const qreal scale : {1.0, 1.25, 2.0}) {
        QImage image((QSizeF(480, 134) * scale).toSize(), QImage::Format_RGB32);
        image.setDevicePixelRatio(scale);
        image.fill(Qt::gray);
        EXPECT_EQ(blurredCopy(image, 24).devicePixelRatio(), 1.0) << scale;
    }
}
