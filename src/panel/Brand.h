#pragma once

#include <QFont>
#include <QString>

namespace ovalin {

/// The fonts of every panel. Sizes are logical pixels. Main thread.
namespace Brand {

/// Registers the four font files of `resources`/Fonts for this process; a file that does not load leaves the system
/// font in its place.
void registerFonts(const QString& resources);

/// DM Sans: medium, regular, and light for every other weight.
[[nodiscard]] QFont font(qreal size, QFont::Weight weight);

/// Josefin Sans medium.
[[nodiscard]] QFont signature(qreal size);

} // namespace Brand

} // namespace ovalin
