#include "KeyState.h"

#include <algorithm>

#include <X11/keysym.h>

namespace ovalin {

namespace {

bool isWindowManagerModifier(quint32 symbol) {
    return (symbol >= XK_Meta_L && symbol <= XK_Hyper_R); // Meta, Alt, Super, Hyper, left and right
}

bool scrolls(quint32 symbol) {
    return (symbol >= XK_Home && symbol <= XK_End) || (symbol >= XK_KP_Home && symbol <= XK_KP_End);
}

EventMonitors::Key keyFor(quint32 symbol) {
    switch (symbol) {
    case XK_Left:
    case XK_Right:
    case XK_Up:
    case XK_Down:
        return EventMonitors::Key::Arrow;
    case XK_a:
    case XK_A:
        return EventMonitors::Key::A;
    default:
        return EventMonitors::Key::Other;
    }
}

KeyRoles::Modifier fixedRole(size_t row) {
    if (row == 0)
        return KeyRoles::Shift;
    return row == 2 ? KeyRoles::Command : KeyRoles::OtherModifier;
}

} // namespace

KeyRoles keyRoles(int firstCode, int symbolsPerCode, std::span<const quint32> symbols, int codesPerModifier,
                  std::span<const quint8> modifierCodes) {
    KeyRoles roles;
    std::bitset<256> windowManager;
    const auto columns = static_cast<size_t>(std::max(symbolsPerCode, 1));
    for (size_t i = 0; i < symbols.size(); ++i) {
        const size_t code = static_cast<size_t>(firstCode) + i / columns;
        if (code >= roles.keys.size())
            break;
        if (isWindowManagerModifier(symbols[i]))
            windowManager.set(code);
        const size_t column = i % columns;
        if (column == 0 && scrolls(symbols[i]))
            roles.scrolling.set(code);
        if ((column == 0 || column == 2) && keyFor(symbols[i]) != EventMonitors::Key::Other)
            roles.keys[code] = keyFor(symbols[i]);
    }
    const auto perRow = static_cast<size_t>(std::max(codesPerModifier, 1));
    for (size_t row = 0; row < 8 && (row + 1) * perRow <= modifierCodes.size(); ++row) {
        const auto codes = modifierCodes.subspan(row * perRow, perRow);
        // Which of Mod1 to Mod5 is Alt or Super is the layout's choice.
        const bool ofWindowManager =
            row >= 3 && std::ranges::any_of(codes, [&](quint8 code) { return code != 0 && windowManager.test(code); });
        const quint8 role = ofWindowManager ? KeyRoles::WindowManager : fixedRole(row);
        for (const quint8 code : codes) {
            if (code != 0) // 0: an unused place of the row
                roles.modifiers[code] = static_cast<quint8>(roles.modifiers[code] | role);
        }
    }
    return roles;
}

void KeyState::reset(const Codes& pressed) {
    down.reset();
    held.reset();
    for (size_t code = 0; code < pressed.size(); ++code)
        held.set(code, pressed.test(code) && roles.modifiers[code] != 0);
}

KeyState::Press KeyState::press(quint8 code) {
    if (roles.modifiers[code] != 0) {
        held.set(code);
        return Press::Nothing;
    }
    down.set(code);
    modifiersAtPress[code] = heldModifiers();
    if (modifiersAtPress[code] & KeyRoles::WindowManager)
        return Press::Nothing;
    return roles.scrolling.test(code) && modifiersAtPress[code] & KeyRoles::Shift ? Press::Scrolling : Press::Typing;
}

std::optional<EventMonitors::KeyUp> KeyState::release(quint8 code) {
    held.reset(code);
    if (!down.test(code))
        return {};
    down.reset(code);
    const quint8 modifiers = modifiersAtPress[code];
    return EventMonitors::KeyUp{roles.keys[code], (modifiers & KeyRoles::Shift) != 0,
                                (modifiers & KeyRoles::Command) != 0};
}

quint8 KeyState::heldModifiers() const {
    quint8 all = 0;
    for (size_t code = held._Find_first(); code < held.size(); code = held._Find_next(code))
        all = static_cast<quint8>(all | roles.modifiers[code]);
    return all;
}

} // namespace ovalin
