#pragma once

#include <QColor>

namespace ovalin {

/// The colours of every panel (sRGB).
namespace Palette {

inline constexpr QColor bg() { return QColor(250, 250, 248); }
inline constexpr QColor border() { return QColor(232, 230, 225); }
inline constexpr QColor ink() { return QColor(26, 26, 26); }
inline constexpr QColor body() { return QColor(74, 74, 70); }
inline constexpr QColor muted() { return QColor(154, 151, 144); }
inline constexpr QColor amethyst() { return QColor(140, 137, 231); }
inline constexpr QColor sapphire() { return QColor(34, 104, 255); }
inline constexpr QColor glassTint() { return QColor(250, 250, 248, 26); }
inline constexpr QColor fill() { return QColor(255, 255, 255, 102); }
inline constexpr QColor fillInput() { return QColor(255, 255, 255, 128); }
inline constexpr QColor fillSoft() { return QColor(255, 255, 255, 71); }
inline constexpr QColor rim() { return QColor(255, 255, 255, 158); }

} // namespace Palette

inline constexpr qreal glassRadius = 10.0;
inline constexpr qreal innerRadius = 6.0;

} // namespace ovalin
