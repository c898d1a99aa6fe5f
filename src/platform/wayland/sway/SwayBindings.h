#pragma once

#include "platform/KeyChord.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ovalin {

/// The chord in sway's words: "Mod1+space".
[[nodiscard]] QByteArray swayChord(const KeyChord& chord);

/// What sway's configuration binds the chord to in its default mode (sway(5)): variables are put in, files that it
/// includes are read, from `folder` where their names are relative. What was bound while sway runs is not seen. Reads
/// files.
[[nodiscard]] std::optional<QString> boundTo(const QString& config, const QString& folder, const KeyChord& chord);

} // namespace ovalin
