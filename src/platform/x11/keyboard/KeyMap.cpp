#include "KeyMap.h"

#include "platform/x11/XReply.h"

#include <algorithm>

#include <X11/keysym.h>
#include <xcb/xcb.h>
// The header has a field of that name.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace ovalin {

namespace {

bool isLatinLetter(KeyMap::KeySym symbol) {
    return (symbol >= XK_a && symbol <= XK_z) || (symbol >= XK_A && symbol <= XK_Z);
}

} // namespace

std::optional<KeyMap> KeyMap::read(xcb_connection_t* connection) {
    const xcb_query_extension_reply_t* xkb = xcb_get_extension_data(connection, &xcb_xkb_id);
    if (!xkb || !xkb->present)
        return {};
    const auto use = xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION);
    const auto askState = xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD);
    const auto askMap = xcb_xkb_get_map(connection, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, 0, 0, 0,
                                        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const auto askModifiers = xcb_get_modifier_mapping(connection);
    const XReply<xcb_xkb_use_extension_reply_t> used(xcb_xkb_use_extension_reply(connection, use, nullptr));
    const XReply<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(connection, askState, nullptr));
    const XReply<xcb_xkb_get_map_reply_t> map(xcb_xkb_get_map_reply(connection, askMap, nullptr));
    const XReply<xcb_get_modifier_mapping_reply_t> rows(
        xcb_get_modifier_mapping_reply(connection, askModifiers, nullptr));
    if (!used || !state || !map || !rows || !(map->present & XCB_XKB_MAP_PART_KEY_SYMS))
        return {};

    KeyMap result;
    result.group = state->group;
    result.firstKey = map->firstKeySym;
    xcb_xkb_get_map_map_t parts{};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(map.get()), map->nTypes, map->nKeySyms, map->nKeyActions,
                               map->totalActions, map->totalKeyBehaviors, map->virtualMods, map->totalKeyExplicit,
                               map->totalModMapKeys, map->totalVModMapKeys, map->present, &parts);
    for (auto it = xcb_xkb_get_map_map_syms_rtrn_iterator(map.get(), &parts); it.rem; xcb_xkb_key_sym_map_next(&it)) {
        const KeySym* symbols = xcb_xkb_key_sym_map_syms(it.data);
        result.keys.push_back(
            {it.data->groupInfo, it.data->width, {symbols, symbols + xcb_xkb_key_sym_map_syms_length(it.data)}});
    }
    const Key* row = xcb_get_modifier_mapping_keycodes(rows.get());
    for (auto& modifier : result.modifiers) {
        std::copy_if(row, row + rows->keycodes_per_modifier, std::back_inserter(modifier),
                     [](Key key) { return key != 0; });
        row += rows->keycodes_per_modifier;
    }
    return result;
}

KeyMap::KeySym KeyMap::plainSymbol(const Symbols& symbols, unsigned inGroup) const {
    const unsigned groups = symbols.groupInfo & 0x0fU;
    if (groups == 0)
        return XCB_NO_SYMBOL;
    // A key with fewer layouts than the keyboard says itself what it does in the others (XKB protocol, "key groups").
    if (inGroup >= groups) {
        switch (symbols.groupInfo & 0xc0U) {
        case XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE:
            inGroup = groups - 1;
            break;
        case XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE:
            inGroup = (symbols.groupInfo >> 4U) & 3U;
            break;
        default:
            inGroup %= groups;
        }
    }
    const size_t at = static_cast<size_t>(inGroup) * symbols.width;
    return at < symbols.all.size() ? symbols.all[at] : XCB_NO_SYMBOL;
}

KeyMap::Key KeyMap::plainKey(KeySym symbol) const {
    for (unsigned g = 0; g < 4; ++g) {
        for (size_t i = 0; i < keys.size(); ++i) {
            if (plainSymbol(keys[i], g) == symbol)
                return static_cast<Key>(firstKey + i);
        }
    }
    return 0;
}

KeyMap::Key KeyMap::shortcutKey(KeySym letter) const {
    Key elsewhere = 0;
    for (size_t i = 0; i < keys.size(); ++i) {
        const KeySym active = plainSymbol(keys[i], group);
        if (active == letter)
            return static_cast<Key>(firstKey + i);
        for (unsigned g = 0; g < (keys[i].groupInfo & 0x0fU) && !elsewhere; ++g) {
            if (plainSymbol(keys[i], g) == letter && !isLatinLetter(active))
                elsewhere = static_cast<Key>(firstKey + i);
        }
    }
    return elsewhere;
}

quint16 KeyMap::modifierMask(KeySym symbol) const {
    unsigned mask = 0;
    for (size_t index = 0; index < modifiers.size(); ++index) {
        for (Key key : modifiers[index]) {
            const size_t at = static_cast<size_t>(key) - firstKey;
            if (key >= firstKey && at < keys.size() && std::ranges::find(keys[at].all, symbol) != keys[at].all.end())
                mask |= 1U << index;
        }
    }
    return static_cast<quint16>(mask);
}

quint16 KeyMap::lockMask() const {
    return static_cast<quint16>(XCB_MOD_MASK_LOCK | modifierMask(XK_Num_Lock) | modifierMask(XK_Scroll_Lock));
}

} // namespace ovalin
