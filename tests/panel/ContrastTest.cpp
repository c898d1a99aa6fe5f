#include "panel/Glass.h"
#include "panel/Palette.h"
#include "support/Testing.h"

#include <QPainter>

#include <cmath>

namespace {

/// WCAG 2.1, relative luminance.
double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= .03928 ? part / 12.92 : std::pow((part + .055) / 1.055, 2.4);
    };
    return .2126 * linear(color.redF()) + .7152 * linear(color.greenF()) + .0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const double a = luminance(one), b = luminance(other);
    return (std::max(a, b) + .05) / (std::min(a, b) + .05);
}

/// What lies behind the panel: one colour, or two that share it in stripes or by halves.
QImage backdrop(const QColor& one, const QColor& other, int stripe) {
    QImage image(480, 180, QImage::Format_RGB32);
    image.fill(one);
    QPainter painter(&image);
    for (int x = 0; x < image.width(); x += 2 * stripe)
        painter.fillRect(x, 0, stripe, image.height(), other);
    return image;
}

/// The least contrast that `color` has on glass over it, with `fills` painted on one by one.
double leastContrast(const QColor& color, const QImage& behind, const std::vector<QColor>& fills) {
    Glass glass;
    glass.setBackdrop(behind.rect(), behind);
    glass.prepare(0, false);
    QImage ground(behind.size(), QImage::Format_RGB32);
    QPainter painter(&ground);
    glass.paint(painter, QRectF(ground.rect()), 0, false);
    for (const QColor& fill : fills)
        painter.fillRect(ground.rect(), fill);
    painter.end();
    double least = 21;
    for (int y = 4; y < ground.height() - 4; y += 8) {
        for (int x = 4; x < ground.width() - 4; x += 8)
            least = std::min(least, contrast(color, ground.pixelColor(x, y)));
    }
    return least;
}

} // namespace

// Disabled controls are exempt.
TEST(Contrast, AllIsReadableInEveryLookOverAnyGround) {
    const struct {
        const char* name;
        QImage image;
    } grounds[] = {{"white", backdrop(Qt::white, Qt::white, 480)},
                   {"black", backdrop(Qt::black, Qt::black, 480)},
                   {"gray", backdrop(Qt::gray, Qt::gray, 480)},
                   {"busy", backdrop(Qt::black, Qt::white, 60)},
                   {"halves", backdrop(Qt::black, Qt::white, 240)},
                   {"red, blue", backdrop(Qt::red, Qt::blue, 90)},
                   {"yellow, green", backdrop(Qt::yellow, Qt::darkGreen, 90)}};
    for (const auto look : {Palette::Look::Light, Palette::Look::Dark, Palette::Look::Contrast}) {
        Palette::use(look);
        const Palette::Colors& c = Palette::colors();
        const struct {
            const char* what;
            QColor color;
            std::vector<QColor> fills;
            double least = 4.5;
        } rows[] = {
            {"hint, title", c.ink, {}},
            {"row under the pointer", c.ink, {c.hover}},
            {"chosen row", c.ink, {c.lit}},
            {"prompt", c.ink, {c.fillInput}},
            {"placeholder", c.body, {c.fillInput}},
            {"selected text", c.ink, {c.fill, c.highlight}},
            {"excerpt, answer", c.body, {c.fill}},
            {"how-to text", c.body, {}},
            {"soft button", c.body, {c.fillSoft}},
            {"soft button, pressed", c.body, {c.pressed}},
            {"mode under the pointer", c.body, {c.fillSoft, c.hover}},
            {"time", c.muted, {}},
            {"time in a chosen row", c.muted, {c.lit}},
            {"glyph", c.muted, {c.fillSoft}},
            {"glyph of an open card", c.muted, {c.lit}},
            {"link", c.sapphire, {c.fill}},
            {"TORVI", c.accent, {c.fill}},
            {"bullet", c.accent, {}},
            {"filled button", c.onAmethyst, {c.amethyst}},
            {"filled button, pressed", c.onAmethyst, {c.amethyst.darker(115)}},
            {"focus on a soft button", c.accent, {c.fillSoft}, 3},
            {"focus around a field", c.accent, {c.fill}, 3},
            {"focus on a filled button", c.onAmethyst, {c.amethyst}, 3},
        };
        for (const auto& row : rows) {
            double least = 21;
            for (const auto& ground : grounds) {
                const double found = leastContrast(row.color, ground.image, row.fills);
                EXPECT_GE(found, row.least) << row.what << " over " << ground.name << " in look " << int(look);
                least = std::min(least, found);
            }
            if (qEnvironmentVariableIsSet("SHOW_CONTRAST"))
                std::printf("%d | %-26s | %.1f\n", int(look), row.what, least);
        }
    }
    Palette::use(Palette::Look::Light);
}
