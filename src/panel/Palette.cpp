#include "Palette.h"

#include <QPalette>

namespace ovalin {

namespace {

constexpr Palette::Colors LIGHT{
    .bg = QColor(250, 250, 248),
    .material = QColor(234, 234, 237),
    .readable = 218,
    .opaque = false,
    .glassTint = QColor(250, 250, 248, 26),
    .shade = QColor(20, 18, 40, 44),
    .rim = QColor(255, 255, 255, 158),
    .ink = QColor(26, 26, 26),
    .body = QColor(74, 74, 70),
    .muted = QColor(86, 83, 78),
    .sapphire = QColor(0, 71, 225),
    .accent = QColor(73, 68, 214),
    .amethyst = QColor(99, 95, 222),
    .onAmethyst = QColor(255, 255, 255),
    .fill = QColor(255, 255, 255, 102),
    .fillInput = QColor(255, 255, 255, 128),
    .fillSoft = QColor(255, 255, 255, 71),
    .hover = QColor(255, 255, 255, 161),
    .pressed = QColor(226, 224, 240, 161),
    .lit = QColor(140, 137, 231, 58),
    .highlight = QColor(140, 137, 231, 120),
    .edge = QColor(20, 18, 40, 14),
    .outline = QColor(0, 0, 0, 0),
    .line = QColor(26, 26, 26, 20),
    .handle = QColor(26, 26, 26, 110),
};

constexpr Palette::Colors DARK{
    .bg = QColor(34, 34, 37),
    .material = QColor(34, 34, 38),
    .readable = 46,
    .opaque = false,
    .glassTint = QColor(250, 250, 248, 6),
    .shade = QColor(0, 0, 0, 120),
    .rim = QColor(255, 255, 255, 46),
    .ink = QColor(244, 244, 242),
    .body = QColor(224, 222, 217),
    .muted = QColor(206, 203, 197),
    .sapphire = QColor(146, 184, 255),
    .accent = QColor(184, 182, 247),
    .amethyst = QColor(99, 95, 222),
    .onAmethyst = QColor(255, 255, 255),
    .fill = QColor(255, 255, 255, 14),
    .fillInput = QColor(255, 255, 255, 22),
    .fillSoft = QColor(255, 255, 255, 24),
    .hover = QColor(255, 255, 255, 28),
    .pressed = QColor(140, 137, 231, 60),
    .lit = QColor(140, 137, 231, 56),
    .highlight = QColor(140, 137, 231, 100),
    .edge = QColor(255, 255, 255, 26),
    .outline = QColor(0, 0, 0, 0),
    .line = QColor(255, 255, 255, 30),
    .handle = QColor(255, 255, 255, 130),
};

constexpr Palette::Colors CONTRAST{
    .bg = QColor(255, 255, 255),
    .material = QColor(255, 255, 255),
    .readable = 255,
    .opaque = true,
    .glassTint = QColor(255, 255, 255, 0),
    .shade = QColor(0, 0, 0),
    .rim = QColor(0, 0, 0),
    .ink = QColor(0, 0, 0),
    .body = QColor(0, 0, 0),
    .muted = QColor(40, 40, 40),
    .sapphire = QColor(0, 30, 160),
    .accent = QColor(45, 40, 150),
    .amethyst = QColor(45, 40, 150),
    .onAmethyst = QColor(255, 255, 255),
    .fill = QColor(255, 255, 255),
    .fillInput = QColor(255, 255, 255),
    .fillSoft = QColor(255, 255, 255),
    .hover = QColor(230, 230, 240),
    .pressed = QColor(210, 210, 225),
    .lit = QColor(215, 214, 245),
    .highlight = QColor(190, 188, 245),
    .edge = QColor(0, 0, 0),
    .outline = QColor(0, 0, 0),
    .line = QColor(0, 0, 0),
    .handle = QColor(0, 0, 0),
};

Palette::Look current = Palette::Look::Light;

} // namespace

const Palette::Colors& Palette::colorsOf(Look look) {
    switch (look) {
    case Look::Dark:
        return DARK;
    case Look::Contrast:
        return CONTRAST;
    default:
        return LIGHT;
    }
}

void Palette::use(Look look) { current = look; }

Palette::Look Palette::look() { return current; }

const Palette::Colors& Palette::colors() { return colorsOf(current); }

QPalette Palette::forWidgets() {
    QPalette made(colors().bg, colors().bg);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        made.setColor(role, colors().ink);
        made.setColor(QPalette::Disabled, role, colors().muted);
    }
    for (const auto role : {QPalette::Base, QPalette::ToolTipBase})
        made.setColor(role, colors().bg);
    made.setColor(QPalette::Highlight, colors().amethyst);
    made.setColor(QPalette::HighlightedText, colors().onAmethyst);
    return made;
}

} // namespace ovalin
