#include "X11Windows.h"

#include "WindowsConnection.h"

#include <QSysInfo>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include <xcb/res.h>

namespace ovalin {

namespace {

constexpr int DESKTOP_LAYER = -1;
constexpr int DOCK_LAYER = 20;
constexpr int NOTIFICATION_LAYER = 25;
constexpr int POPUP_LAYER = 101;

struct TypeLayer {
    const char* type;
    int layer;
};

constexpr std::array<TypeLayer, 12> LAYERS{{
    {"_NET_WM_WINDOW_TYPE_NORMAL", 0},
    {"_NET_WM_WINDOW_TYPE_DIALOG", 0},
    {"_NET_WM_WINDOW_TYPE_UTILITY", 0},
    {"_NET_WM_WINDOW_TYPE_DESKTOP", DESKTOP_LAYER},
    {"_NET_WM_WINDOW_TYPE_DOCK", DOCK_LAYER},
    {"_NET_WM_WINDOW_TYPE_NOTIFICATION", NOTIFICATION_LAYER},
    {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_POPUP_MENU", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_TOOLTIP", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_COMBO", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_DND", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_SPLASH", POPUP_LAYER},
}};

struct Atoms {
    xcb_atom_t check, stacking, windowType, pid, clientMachine;
    std::array<xcb_atom_t, LAYERS.size()> types;
};

Atoms internAtoms(xcb_connection_t* c) {
    constexpr std::array<const char*, 4> names{"_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST_STACKING",
                                               "_NET_WM_WINDOW_TYPE", "_NET_WM_PID"};
    const auto ask = [c](const char* name) {
        return xcb_intern_atom(c, true, static_cast<uint16_t>(std::strlen(name)), name);
    };
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const char* name : names)
        cookies.push_back(ask(name));
    for (const auto& layer : LAYERS)
        cookies.push_back(ask(layer.type));
    std::vector<xcb_atom_t> atoms;
    for (auto cookie : cookies) {
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c, cookie, nullptr));
        atoms.push_back(reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    Atoms result{atoms[0], atoms[1], atoms[2], atoms[3], XCB_ATOM_WM_CLIENT_MACHINE, {}};
    std::copy(atoms.begin() + names.size(), atoms.end(), result.types.begin());
    return result;
}

using Property = XReply<xcb_get_property_reply_t>;

xcb_get_property_cookie_t askProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t atom) {
    return xcb_get_property(c, false, window, atom, XCB_ATOM_ANY, 0, 16384);
}

Property takeProperty(xcb_connection_t* c, xcb_get_property_cookie_t cookie) {
    return Property(xcb_get_property_reply(c, cookie, nullptr));
}

std::vector<uint32_t> words(const Property& property) {
    if (!property || property->format != 32)
        return {};
    const auto* first = static_cast<const uint32_t*>(xcb_get_property_value(property.get()));
    return {first, first + xcb_get_property_value_length(property.get()) / 4};
}

QByteArray bytes(const Property& property) {
    if (!property || property->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(property.get())),
            xcb_get_property_value_length(property.get())};
}

/// The root keeps the properties of a window manager that died; only its check window, naming itself, says it lives.
bool windowManagerLives(const WindowsConnection& x, const Atoms& atoms) {
    const auto named = words(takeProperty(x.get(), askProperty(x.get(), x.root(), atoms.check)));
    if (named.empty())
        return false;
    const auto itself = words(takeProperty(x.get(), askProperty(x.get(), named[0], atoms.check)));
    return !itself.empty() && itself[0] == named[0];
}

/// Bottom to top.
std::vector<xcb_window_t> stackedWindows(const WindowsConnection& x, const Atoms& atoms) {
    if (atoms.check && atoms.stacking && windowManagerLives(x, atoms)) {
        auto list = words(takeProperty(x.get(), askProperty(x.get(), x.root(), atoms.stacking)));
        if (!list.empty())
            return list;
    }
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), x.root()), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

struct Questions {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    xcb_get_property_cookie_t type, pid, machine;
    std::optional<xcb_res_query_client_ids_cookie_t> client;
};

/// Whether the server can say whose a window is. Asking an extension that is not there would end the connection.
bool knowsClients(xcb_connection_t* c) {
    const auto* extension = xcb_get_extension_data(c, &xcb_res_id);
    if (!extension || !extension->present)
        return false;
    const XReply<xcb_res_query_version_reply_t> version(
        xcb_res_query_version_reply(c, xcb_res_query_version(c, 1, 2), nullptr));
    return version && (version->server_major > 1 || version->server_minor >= 2);
}

Questions ask(const WindowsConnection& x, const Atoms& atoms, xcb_window_t window, bool askClient) {
    auto* c = x.get();
    const xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return {window,
            xcb_get_window_attributes(c, window),
            xcb_get_geometry(c, window),
            xcb_translate_coordinates(c, window, x.root(), 0, 0),
            askProperty(c, window, atoms.windowType),
            askProperty(c, window, atoms.pid),
            askProperty(c, window, atoms.clientMachine),
            askClient ? std::optional(xcb_res_query_client_ids(c, 1, &spec)) : std::nullopt};
}

int layerOf(const xcb_get_window_attributes_reply_t& attributes, const std::vector<uint32_t>& types,
            const Atoms& atoms) {
    if (attributes.override_redirect)
        return POPUP_LAYER;
    // The first type that is known counts (EWMH: in order of preference).
    for (const xcb_atom_t type : types) {
        const auto known = std::find(atoms.types.begin(), atoms.types.end(), type);
        if (type != XCB_ATOM_NONE && known != atoms.types.end())
            return LAYERS[static_cast<size_t>(known - atoms.types.begin())].layer;
    }
    return 0;
}

qint32 localClientPid(xcb_res_query_client_ids_reply_t* reply) {
    if (!reply)
        return 0;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply); it.rem; xcb_res_client_id_value_next(&it)) {
        if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && it.data->length >= 4)
            return static_cast<qint32>(xcb_res_client_id_value_value(it.data)[0]);
    }
    return 0;
}

/// All replies are taken in any case: libxcb keeps what nobody asks for.
std::optional<WindowInfo> answer(const WindowsConnection& x, const Atoms& atoms, const Questions& q) {
    auto* c = x.get();
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, q.attributes, nullptr));
    const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, q.geometry, nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(c, q.origin, nullptr));
    const auto types = words(takeProperty(c, q.type));
    const auto pid = words(takeProperty(c, q.pid));
    const auto machine = bytes(takeProperty(c, q.machine));
    const XReply<xcb_res_query_client_ids_reply_t> client(
        q.client ? xcb_res_query_client_ids_reply(c, *q.client, nullptr) : nullptr);
    if (!attributes || !geometry || !origin || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
        return std::nullopt;

    static const QByteArray thisHost = QSysInfo::machineHostName().toUtf8();
    const bool here = machine.isEmpty() || machine == thisHost;
    WindowInfo info;
    info.id = q.window;
    info.layer = layerOf(*attributes, types, atoms);
    info.ownerPid = here && !pid.empty() ? static_cast<qint32>(pid[0]) : localClientPid(client.get());
    info.frame = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
    return info;
}

} // namespace

std::vector<WindowInfo> X11Windows::onScreenWindows() {
    const WindowsConnection x(displayName.isEmpty() ? nullptr : displayName.constData());
    if (!x)
        return {};
    const Atoms atoms = internAtoms(x.get());
    const bool askClient = knowsClients(x.get());
    std::vector<Questions> questions;
    for (const xcb_window_t window : stackedWindows(x, atoms))
        questions.push_back(ask(x, atoms, window, askClient));
    std::vector<WindowInfo> windows;
    for (auto q = questions.rbegin(); q != questions.rend(); ++q) {
        if (auto info = answer(x, atoms, *q))
            windows.push_back(*info);
    }
    return windows;
}

} // namespace ovalin
