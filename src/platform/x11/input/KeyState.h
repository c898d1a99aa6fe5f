#pragma once

#include "platform/EventMonitors.h"

#include <array>
#include <bitset>
#include <optional>
#include <span>

namespace ovalin {

/// What the keyboard map says about each key code, as far as it matters here.
struct KeyRoles {
    enum Modifier : quint8 {
        Shift = 1,
        Command = 2,       ///< Ctrl
        WindowManager = 4, ///< Alt, Meta, Super, Hyper: chords with them belong to the window manager
        OtherModifier = 8, ///< Lock, Num Lock, AltGr …
    };
    std::array<quint8, 256> modifiers{}; ///< 0: not a modifier key
    std::array<EventMonitors::Key, 256> keys{};
    std::bitset<256> scrolling; ///< with Shift, in a terminal

    KeyRoles() { keys.fill(EventMonitors::Key::Other); }
};

/// Builds the roles from the server's two tables: `symbols` has `symbolsPerCode` columns for each code from `firstCode`
/// on (columns 0 and 2 are the unshifted symbols of the first two layouts); `modifierCodes` has eight rows (Shift,
/// Lock, Control, Mod1 … Mod5) of `codesPerModifier`.
[[nodiscard]] KeyRoles keyRoles(int firstCode, int symbolsPerCode, std::span<const quint32> symbols,
                                int codesPerModifier, std::span<const quint8> modifierCodes);

/// Follows the keys going by. Raw events carry no modifier state, and asking the server when one arrives answers for a
/// later moment.
class KeyState {
public:
    using Codes = std::bitset<256>;

    void setRoles(const KeyRoles& newRoles) { roles = newRoles; }

    /// Starts over with the keys that are down at this moment.
    void reset(const Codes& pressed);

    /// A key went down. Whether it may have changed a selection: modifiers alone and chords of the window manager (our
    /// hotkey is one) do not; scrolling does, where it is no terminal that scrolls.
    enum class Press { Nothing, Scrolling, Typing };
    Press press(quint8 code);

    /// A key went up: what it was, with the modifiers that were held when it went down. Nothing for a modifier key, and
    /// for one that was not seen going down.
    std::optional<EventMonitors::KeyUp> release(quint8 code);

private:
    [[nodiscard]] quint8 heldModifiers() const;

    KeyRoles roles;
    Codes held; // modifier keys only
    Codes down; // keys whose press was seen
    std::array<quint8, 256> modifiersAtPress{};
};

} // namespace ovalin
