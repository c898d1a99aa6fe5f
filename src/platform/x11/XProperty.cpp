#include "XProperty.h"

#include "XReply.h"

#include <cstring>

namespace ovalin {

namespace {

XReply<xcb_get_property_reply_t> take(xcb_connection_t* connection, xcb_get_property_cookie_t cookie, int format) {
    XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    return reply && reply->format == format ? std::move(reply) : nullptr;
}

} // namespace

std::vector<xcb_atom_t> internAtoms(xcb_connection_t* connection, std::span<const char* const> names) {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const char* name : names)
        cookies.push_back(xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name));
    std::vector<xcb_atom_t> atoms;
    for (const auto cookie : cookies) {
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
        atoms.push_back(reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return atoms;
}

xcb_get_property_cookie_t askProperty(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property) {
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 64 * 1024 / 4);
}

QByteArray takeBytes(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    const auto reply = take(connection, cookie, 8);
    if (!reply)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())), xcb_get_property_value_length(reply.get())};
}

std::vector<quint32> takeWords(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    const auto reply = take(connection, cookie, 32);
    if (!reply)
        return {};
    const auto* first = static_cast<const quint32*>(xcb_get_property_value(reply.get()));
    return {first, first + xcb_get_property_value_length(reply.get()) / 4};
}

} // namespace ovalin
