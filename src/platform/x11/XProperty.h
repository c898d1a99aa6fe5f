#pragma once

#include <QByteArray>

#include <span>
#include <vector>

#include <xcb/xcb.h>

namespace ovalin {

// Ask for all first, then take the answers: one round trip for the lot. Every question is to be taken back, since
// libxcb keeps what nobody asks for. Any thread; a window that is gone gives empty answers.

/// The atoms of these names, 0 for what the server does not hand out; one round trip.
[[nodiscard]] std::vector<xcb_atom_t> internAtoms(xcb_connection_t* connection, std::span<const char* const> names);

/// Up to 64 KiB of a property.
[[nodiscard]] xcb_get_property_cookie_t askProperty(xcb_connection_t* connection, xcb_window_t window,
                                                    xcb_atom_t property);

/// What the property holds, empty unless it has the format asked for (8 and 32 bits).
[[nodiscard]] QByteArray takeBytes(xcb_connection_t* connection, xcb_get_property_cookie_t cookie);
[[nodiscard]] std::vector<quint32> takeWords(xcb_connection_t* connection, xcb_get_property_cookie_t cookie);
[[nodiscard]] inline quint32 takeWord(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    const auto words = takeWords(connection, cookie);
    return words.empty() ? 0 : words.front();
}

} // namespace ovalin
