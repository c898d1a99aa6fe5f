#pragma once

#include "platform/x11/keyboard/KeyMap.h"

#include <array>
#include <bitset>
#include <optional>

namespace ovalin {

/// A key that went up, with the modifiers that were held when it went down.
struct KeyUp {
    enum class Key { Arrow, A, Other };
    Key key = Key::Other;
    bool shift = false;
    bool control = false;
    bool operator==(const KeyUp&) const = default;

    /// Whether it may have changed the selection: Shift with an arrow, or select-all.
    [[nodiscard]] bool selects() const { return (key == Key::Arrow && shift) || (key == Key::A && control); }
};

/// Follows the keys going by. Raw events carry no modifier state, and asking the server when one arrives answers for a
/// later moment.
class KeyState {
public:
    using Codes = std::bitset<256>;

    /// What the keys are from now on; those that are down stay down.
    void setMap(KeyMap newMap);

    /// Starts over with the keys that are down at this moment.
    void reset(const Codes& pressed);

    /// A key went down. Whether it may have changed a selection: modifiers alone and chords of the window manager (our
    /// hotkey is one) do not; scrolling does, where it is no terminal that scrolls.
    enum class Press { Nothing, Scrolling, Typing };
    Press press(quint8 code);
    /// What was held when this key, no modifier, went down last.
    [[nodiscard]] quint8 modifiersBeside(quint8 code) const { return modifiersAtPress[code]; }

    /// A key went up. Nothing for a modifier key, and for one that was not seen going down.
    std::optional<KeyUp> release(quint8 code);

private:
    [[nodiscard]] quint8 modifiersOf(quint8 code) const { return map ? map->modifiersOf(code) : quint8{0}; }
    [[nodiscard]] quint8 heldModifiers() const;

    std::optional<KeyMap> map; // without one no key means anything
    quint8 windowManagers = 0; // modifiers
    Codes held;                // modifier keys only
    Codes down;                // keys whose press was seen
    std::array<quint8, 256> modifiersAtPress{};
};

} // namespace ovalin
