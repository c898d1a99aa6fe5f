#pragma once

#include <QColor>

class QPalette;

namespace ovalin {

/// The colours of every panel (sRGB), by what they are for. Main thread.
namespace Palette {

enum class Look { Light, Dark, Contrast };

/// What is read has a contrast of 4.5 at least over whatever lies behind the glass, and what tells a control or the
/// focus apart 3 (WCAG 2.1, 1.4.3 and 1.4.11).
struct Colors {
    QColor bg;         ///< the glass where nothing is known of what lies behind
    QColor material;   ///< its own colour; a shade under white, so that the fills stand out over white documents too
    int readable;      ///< as gray: what the tint makes of the darkest (in a dark look: brightest) part behind it
    bool opaque;       ///< nothing shows through
    QColor glassTint;  ///< over the material
    QColor shade, rim; ///< the two lines around a card
    QColor ink;        ///< what the user writes and is told
    QColor body;       ///< excerpts, answers, titles of buttons
    QColor muted;      ///< what is quiet: glyphs, times
    QColor sapphire;   ///< links
    QColor accent;     ///< marks, labels, the ring of the focus
    QColor amethyst;   ///< filled buttons
    QColor onAmethyst; ///< their titles, and the inner ring of the focus
    QColor fill;       ///< under excerpt and transcript
    QColor fillInput;  ///< under the prompt
    QColor fillSoft;   ///< under the other buttons
    QColor hover, pressed;
    QColor lit;       ///< under what is open or chosen
    QColor highlight; ///< under selected text
    QColor edge;      ///< around fields, which may be as light as the glass
    QColor outline;   ///< around buttons; transparent where the shadow does
    QColor line;      ///< between rows
    QColor handle;    ///< of a scroll bar
};

[[nodiscard]] const Colors& colorsOf(Look look);

/// What is made from now on looks like that.
void use(Look look);
[[nodiscard]] Look look();
[[nodiscard]] const Colors& colors();

/// For what Qt paints: menus and tool tips.
[[nodiscard]] QPalette forWidgets();

inline QColor ink() { return colors().ink; }
inline QColor body() { return colors().body; }
inline QColor muted() { return colors().muted; }
inline QColor accent() { return colors().accent; }
inline QColor amethyst() { return colors().amethyst; }
inline QColor onAmethyst() { return colors().onAmethyst; }
inline QColor sapphire() { return colors().sapphire; }
inline QColor fill() { return colors().fill; }
inline QColor fillInput() { return colors().fillInput; }
inline QColor fillSoft() { return colors().fillSoft; }

} // namespace Palette

inline constexpr qreal glassRadius = 10.0;
inline constexpr qreal innerRadius = 6.0;

} // namespace ovalin
