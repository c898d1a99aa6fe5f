#include "KeyState.h"

#include <algorithm>

#include <X11/X.h>
#include <X11/keysym.h>

namespace ovalin {

namespace {

bool scrolls(quint32 symbol) {
    return (symbol >= XK_Home && symbol <= XK_End) || (symbol >= XK_KP_Home && symbol <= XK_KP_End);
}

KeyUp::Key keyFor(quint32 symbol) {
    switch (symbol) {
    case XK_Left:
    case XK_Right:
    case XK_Up:
    case XK_Down:
        return KeyUp::Key::Arrow;
    case XK_a:
    case XK_A:
        return KeyUp::Key::A;
    default:
        return KeyUp::Key::Other;
    }
}

/// By any of its layouts: which one the application goes by is not known.
KeyUp::Key keyFor(const std::vector<quint32>& symbols) {
    for (const quint32 symbol : symbols) {
        if (keyFor(symbol) != KeyUp::Key::Other)
            return keyFor(symbol);
    }
    return KeyUp::Key::Other;
}

/// Alt, Meta, Super and Hyper, whichever of the five the layout gives them. Chords with them belong to the window
/// manager.
quint8 windowManagerModifiers(const KeyMap& map) {
    unsigned mask = 0;
    for (quint32 symbol = XK_Meta_L; symbol <= XK_Hyper_R; ++symbol)
        mask |= map.modifierMask(symbol);
    return static_cast<quint8>(mask & ~unsigned{ShiftMask | LockMask | ControlMask});
}

} // namespace

void KeyState::setMap(KeyMap newMap) {
    map = std::move(newMap);
    windowManagers = windowManagerModifiers(*map);
}

void KeyState::reset(const Codes& pressed) {
    down.reset();
    held.reset();
    for (size_t code = 0; code < pressed.size(); ++code)
        held.set(code, pressed.test(code) && modifiersOf(static_cast<quint8>(code)) != 0);
}

KeyState::Press KeyState::press(quint8 code) {
    if (modifiersOf(code) != 0) {
        held.set(code);
        return Press::Nothing;
    }
    down.set(code);
    modifiersAtPress[code] = heldModifiers();
    if (modifiersAtPress[code] & windowManagers)
        return Press::Nothing;
    const auto symbols = map ? map->plainSymbols(code) : std::vector<quint32>();
    const bool scrolling = !symbols.empty() && scrolls(symbols.front());
    return scrolling && modifiersAtPress[code] & ShiftMask ? Press::Scrolling : Press::Typing;
}

std::optional<KeyUp> KeyState::release(quint8 code) {
    held.reset(code);
    if (!down.test(code))
        return {};
    down.reset(code);
    const quint8 modifiers = modifiersAtPress[code];
    return KeyUp{map ? keyFor(map->plainSymbols(code)) : KeyUp::Key::Other, (modifiers & ShiftMask) != 0,
                 (modifiers & ControlMask) != 0};
}

quint8 KeyState::heldModifiers() const {
    quint8 all = 0;
    for (size_t code = held._Find_first(); code < held.size(); code = held._Find_next(code))
        all |= modifiersOf(static_cast<quint8>(code));
    return all;
}

} // namespace ovalin
