#pragma once

#include <QtGlobal>

#include <array>
#include <bitset>
#include <memory>
#include <optional>
#include <vector>

struct xcb_connection_t;
struct xkb_keymap;

namespace ovalin {

/// The keyboard map at one moment, by libxkbcommon: what each key gives, and which keys are modifiers. A value; any
/// thread.
class KeyMap {
public:
    using Key = quint8;     ///< X keycode, 8...255; 0 is none
    using KeySym = quint32; ///< X keysym

    /// The X server's, a few round trips; absent when the server has no XKB.
    [[nodiscard]] static std::optional<KeyMap> read(xcb_connection_t* connection);

    /// The type of XKB's events, 0 without XKB; and whether one of them, of this kind (its pad0), tells of another map.
    /// A client that uses XKB is sent no MappingNotify.
    [[nodiscard]] static quint8 eventType(xcb_connection_t* connection);
    [[nodiscard]] static bool tellsOfChange(quint8 kind);
    /// Asks for them, on a connection other than Qt's, which has them already.
    static void selectChanges(xcb_connection_t* connection);

    /// `activeLayout`: the one that is typed in.
    KeyMap(std::shared_ptr<xkb_keymap> keymap, quint32 activeLayout);

    /// The key that gives `symbol` without any modifier in the first layout, else in another layout; 0 when none does.
    [[nodiscard]] Key plainKey(KeySym symbol) const;

    /// The key to press with Ctrl for the shortcut with this Latin letter: the one that gives it in the active layout,
    /// else one that gives it in another layout and no Latin letter in the active one (toolkits then look through the
    /// other layouts themselves). 0 when there is none: any key would be another shortcut.
    [[nodiscard]] Key shortcutKey(KeySym letter) const;

    /// What the key gives without any modifier, in each layout; 0: nothing.
    [[nodiscard]] std::vector<KeySym> plainSymbols(Key key) const;

    /// The modifiers (1 << index, as in the state of events) that the key sets in some layout; 0: it is no modifier.
    [[nodiscard]] quint8 modifiersOf(Key key) const { return setBy.at(key); }

    /// The modifiers that the keys with this symbol set, shifted or not; 0 when there is none.
    [[nodiscard]] quint8 modifierMask(KeySym symbol) const;

    /// The keys that set modifier `index`: 0 Shift, 1 Lock, 2 Control, 3...7 Mod1...Mod5.
    [[nodiscard]] std::vector<Key> modifierKeys(size_t index) const;

    /// Caps Lock and whatever Num Lock and Scroll Lock are.
    [[nodiscard]] quint8 lockMask() const;

private:
    [[nodiscard]] quint32 layoutsOf(Key key) const;
    [[nodiscard]] KeySym plainSymbol(Key key, quint32 layout) const;
    [[nodiscard]] bool has(Key key, quint32 layout, KeySym symbol) const;

    std::shared_ptr<xkb_keymap> keymap;
    quint32 active;
    std::vector<Key> keys;
    std::array<quint8, 256> setBy{};
};

/// The keys that are down now, one round trip; none when the server is gone.
[[nodiscard]] std::bitset<256> keysDown(xcb_connection_t* connection);

} // namespace ovalin
