#include "WindowNames.h"

#include "XReply.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

class Server {
public:
    Server()
        : connection(xcb_connect(nullptr, &screen)) {}
    ~Server() { xcb_disconnect(connection); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] xcb_connection_t* get() const { return connection; }
    [[nodiscard]] xcb_window_t root() const {
        if (xcb_connection_has_error(connection))
            return XCB_NONE;
        auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; i < screen && it.rem > 1; ++i)
            xcb_screen_next(&it);
        return it.data->root;
    }
    [[nodiscard]] xcb_atom_t atom(std::string_view name) const {
        const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data());
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }
    [[nodiscard]] xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property) const {
        return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 64 * 1024);
    }
    [[nodiscard]] QByteArray bytes(xcb_get_property_cookie_t cookie) const {
        const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
        if (!reply)
            return {};
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                xcb_get_property_value_length(reply.get())};
    }
    [[nodiscard]] std::vector<xcb_window_t> windows(xcb_window_t root, std::string_view property) const {
        const QByteArray data = bytes(ask(root, atom(property)));
        const auto* first = reinterpret_cast<const xcb_window_t*>(data.constData());
        return {first, first + static_cast<size_t>(data.size()) / sizeof(xcb_window_t)};
    }

private:
    int screen = 0;
    xcb_connection_t* connection;
};

} // namespace

QStringList windowNamesTopDown() {
    const Server server;
    const xcb_window_t root = server.root();
    if (root == XCB_NONE)
        return {};
    std::vector<xcb_window_t> order = server.windows(root, "_NET_CLIENT_LIST_STACKING");
    const auto active = server.windows(root, "_NET_ACTIVE_WINDOW");
    order.insert(order.end(), active.begin(), active.end());
    std::reverse(order.begin(), order.end());

    const xcb_atom_t name = server.atom("_NET_WM_NAME");
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : order)
        cookies.push_back(server.ask(window, name));
    QStringList names;
    for (const auto cookie : cookies)
        names << QString::fromUtf8(server.bytes(cookie));
    return names;
}

} // namespace ovalin
