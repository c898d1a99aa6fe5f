#pragma once

#include <QtGlobal>

#include <array>
#include <optional>
#include <vector>

struct xcb_connection_t;

namespace ovalin {

/// The keyboard map of the X server at one moment: what each key gives, and which keys are modifiers. Any thread.
class KeyMap {
public:
    using Key = quint8;     ///< X keycode, 8...255; 0 is none
    using KeySym = quint32; ///< X keysym

    /// One round trip; absent when the server has no XKB.
    [[nodiscard]] static std::optional<KeyMap> read(xcb_connection_t* connection);

    /// The key that gives `symbol` without any modifier in the first layout, else in another layout; 0 when none does.
    [[nodiscard]] Key plainKey(KeySym symbol) const;

    /// The key to press with Ctrl for the shortcut with this Latin letter: the one that gives it in the active layout,
    /// else one that gives it in another layout and no Latin letter in the active one (toolkits then look through the
    /// other layouts themselves). 0 when there is none: any key would be another shortcut.
    [[nodiscard]] Key shortcutKey(KeySym letter) const;

    /// The modifiers (1 << index, as in the state of events) that a key with this symbol sets; 0 when none does.
    [[nodiscard]] quint16 modifierMask(KeySym symbol) const;

    /// The keys that set modifier `index`: 0 Shift, 1 Lock, 2 Control, 3...7 Mod1...Mod5.
    [[nodiscard]] const std::vector<Key>& modifierKeys(size_t index) const { return modifiers.at(index); }

    /// Caps Lock and whatever Num Lock and Scroll Lock are.
    [[nodiscard]] quint16 lockMask() const;

private:
    struct Symbols {
        quint8 groupInfo = 0;
        quint8 width = 0;
        std::vector<KeySym> all; // group by group, `width` levels each
    };

    [[nodiscard]] KeySym plainSymbol(const Symbols& symbols, unsigned inGroup) const;

    Key firstKey = 0;
    std::vector<Symbols> keys;
    std::array<std::vector<Key>, 8> modifiers;
    unsigned group = 0; // the active layout
};

} // namespace ovalin
