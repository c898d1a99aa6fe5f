#pragma once

#include "base/Config.h"

#include <tl/expected.hpp>

namespace ovalin {

/// A key with the modifiers that are held beside it. A value; without arguments the chord that opens the panel where
/// the user has chosen no other.
struct KeyChord {
    enum Modifier : quint8 { Control = 1, Alt = 2, Shift = 4, Super = 8 };

    quint32 symbol = 0x20; ///< X keysym that the key gives by itself
    quint8 modifiers = Alt;
    bool operator==(const KeyChord&) const = default;

    /// As people write it: "Alt+Space".
    [[nodiscard]] QString name() const;

    /// Upper or lower case, in the words of several desktops: "ctrl+F9", "Meta+Enter". The error is why it cannot open
    /// the panel, in a few words; what types something by itself cannot, since nobody could type it any more.
    [[nodiscard]] static tl::expected<KeyChord, QString> parse(const QString& written);
};

/// The chord of the configuration, which is named as people write it from then on. One that cannot be used becomes a
/// complaint, and Alt+Space takes its place.
[[nodiscard]] KeyChord hotkeyOf(Config& config);

} // namespace ovalin
