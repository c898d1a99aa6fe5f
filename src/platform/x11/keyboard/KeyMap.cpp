#include "KeyMap.h"

#include "platform/x11/XReply.h"

#include <algorithm>

#include <X11/keysym.h>
#include <xcb/xcb.h>
// The header has a field of that name.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>

namespace ovalin {

namespace {

using Context = std::unique_ptr<xkb_context, decltype(&xkb_context_unref)>;
using State = std::unique_ptr<xkb_state, decltype(&xkb_state_unref)>;

bool isLatinLetter(KeyMap::KeySym symbol) {
    return (symbol >= XK_a && symbol <= XK_z) || (symbol >= XK_A && symbol <= XK_Z);
}

bool useXkb(xcb_connection_t* connection) {
    return xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                       XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr);
}

/// What goes down with the key when nothing else is.
quint8 modifiersSet(xkb_keymap* keymap, KeyMap::Key key, quint32 layout) {
    const State state(xkb_state_new(keymap), &xkb_state_unref);
    xkb_state_update_mask(state.get(), 0, 0, 0, 0, 0, layout);
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    // The first eight are the modifiers of the X protocol.
    return static_cast<quint8>(xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED));
}

} // namespace

std::optional<KeyMap> KeyMap::read(xcb_connection_t* connection) {
    const int32_t device = useXkb(connection) ? xkb_x11_get_core_keyboard_device_id(connection) : -1;
    if (device < 0)
        return {};
    // Nothing is read from files: the map comes from the server.
    const Context context(xkb_context_new(static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES |
                                                                         XKB_CONTEXT_NO_ENVIRONMENT_NAMES)),
                          &xkb_context_unref);
    std::shared_ptr<xkb_keymap> keymap(
        xkb_x11_keymap_new_from_device(context.get(), connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS),
        &xkb_keymap_unref);
    if (!keymap)
        return {};
    const State state(xkb_x11_state_new_from_device(keymap.get(), connection, device), &xkb_state_unref);
    const auto layout = state ? xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE) : 0;
    return KeyMap(std::move(keymap), layout);
}

quint8 KeyMap::eventType(xcb_connection_t* connection) {
    const auto* xkb = xcb_get_extension_data(connection, &xcb_xkb_id);
    return xkb && xkb->present ? xkb->first_event : quint8{0};
}

bool KeyMap::tellsOfChange(quint8 kind) { return kind == XCB_XKB_NEW_KEYBOARD_NOTIFY || kind == XCB_XKB_MAP_NOTIFY; }

void KeyMap::selectChanges(xcb_connection_t* connection) {
    constexpr quint16 EVENTS = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr quint16 ALL_PARTS = 0xff;
    if (!useXkb(connection))
        return;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, EVENTS, 0, EVENTS, ALL_PARTS, ALL_PARTS, nullptr);
    xcb_flush(connection);
}

KeyMap::KeyMap(std::shared_ptr<xkb_keymap> theKeymap, quint32 activeLayout)
    : keymap(std::move(theKeymap))
    , active(activeLayout) {
    const auto last = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap.get()), 255);
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap.get()); code <= last; ++code) {
        const auto key = static_cast<Key>(code);
        keys.push_back(key);
        for (quint32 layout = 0; layout < layoutsOf(key); ++layout)
            setBy[key] |= modifiersSet(keymap.get(), key, layout);
    }
}

quint32 KeyMap::layoutsOf(Key key) const { return xkb_keymap_num_layouts_for_key(keymap.get(), key); }

// A key with fewer layouts than the keyboard says itself what it does in the others; the library follows that.
KeyMap::KeySym KeyMap::plainSymbol(Key key, quint32 layout) const {
    const xkb_keysym_t* symbols = nullptr;
    return xkb_keymap_key_get_syms_by_level(keymap.get(), key, layout, 0, &symbols) > 0 ? symbols[0] : XKB_KEY_NoSymbol;
}

std::vector<KeyMap::KeySym> KeyMap::plainSymbols(Key key) const {
    std::vector<KeySym> symbols;
    for (quint32 layout = 0; layout < layoutsOf(key); ++layout)
        symbols.push_back(plainSymbol(key, layout));
    return symbols;
}

KeyMap::Key KeyMap::plainKey(KeySym symbol) const {
    for (quint32 layout = 0; layout < xkb_keymap_num_layouts(keymap.get()); ++layout) {
        const auto found = std::ranges::find_if(keys, [&](Key key) { return plainSymbol(key, layout) == symbol; });
        if (found != keys.end())
            return *found;
    }
    return 0;
}

KeyMap::Key KeyMap::shortcutKey(KeySym letter) const {
    Key elsewhere = 0;
    for (const Key key : keys) {
        const KeySym typed = plainSymbol(key, active);
        if (typed == letter)
            return key;
        if (!elsewhere && !isLatinLetter(typed) && std::ranges::count(plainSymbols(key), letter) > 0)
            elsewhere = key;
    }
    return elsewhere;
}

bool KeyMap::has(Key key, quint32 layout, KeySym symbol) const {
    for (quint32 level = 0; level < xkb_keymap_num_levels_for_key(keymap.get(), key, layout); ++level) {
        const xkb_keysym_t* symbols = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap.get(), key, layout, level, &symbols);
        if (std::find(symbols, symbols + count, symbol) != symbols + count)
            return true;
    }
    return false;
}

quint8 KeyMap::modifierMask(KeySym symbol) const {
    quint8 mask = 0;
    for (const Key key : keys) {
        for (quint32 layout = 0; setBy[key] && layout < layoutsOf(key); ++layout) {
            if (has(key, layout, symbol))
                mask |= modifiersSet(keymap.get(), key, layout);
        }
    }
    return mask;
}

std::vector<KeyMap::Key> KeyMap::modifierKeys(size_t index) const {
    std::vector<Key> found;
    std::ranges::copy_if(keys, std::back_inserter(found), [&](Key key) { return setBy[key] >> index & 1; });
    return found;
}

quint8 KeyMap::lockMask() const {
    return static_cast<quint8>(XCB_MOD_MASK_LOCK | modifierMask(XK_Num_Lock) | modifierMask(XK_Scroll_Lock));
}

std::bitset<256> keysDown(xcb_connection_t* connection) {
    const XReply<xcb_query_keymap_reply_t> reply(
        xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    std::bitset<256> keys;
    for (size_t key = 0; reply && key < keys.size(); ++key)
        keys.set(key, (reply->keys[key / 8] >> (key % 8) & 1) != 0);
    return keys;
}

} // namespace ovalin
