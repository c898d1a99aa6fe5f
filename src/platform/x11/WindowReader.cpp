#include "WindowReader.h"

#include "QtConnection.h"
#include "XReply.h"

#include <QList>
#include <QSysInfo>

#include <cstring>

#include <xcb/res.h>
#include <xcb/xcb.h>

namespace ovalin {

namespace {

using Property = XReply<xcb_get_property_reply_t>;

xcb_get_property_cookie_t ask(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property) {
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 256);
}

QByteArray bytes(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    const Property reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())), xcb_get_property_value_length(reply.get())};
}

std::optional<quint32> numberIfSet(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    const Property reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return {};
    quint32 value = 0;
    std::memcpy(&value, xcb_get_property_value(reply.get()), sizeof value);
    return value;
}

quint32 number(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    return numberIfSet(connection, cookie).value_or(0);
}

xcb_res_query_client_ids_cookie_t askPid(xcb_connection_t* connection, xcb_window_t window) {
    const xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return xcb_res_query_client_ids(connection, 1, &spec);
}

qint32 pidOf(xcb_connection_t* connection, xcb_res_query_client_ids_cookie_t cookie) {
    const XReply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(connection, cookie, nullptr));
    if (!reply)
        return 0;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem; xcb_res_client_id_value_next(&it)) {
        if (it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID && it.data->length >= 4)
            return static_cast<qint32>(*xcb_res_client_id_value_value(it.data));
    }
    return 0;
}

struct IdentityCookies {
    xcb_get_property_cookie_t wmClass;
    xcb_get_property_cookie_t pid;
    xcb_get_property_cookie_t machine;
    xcb_res_query_client_ids_cookie_t client;
};

} // namespace

WindowReader::WindowReader(xcb_connection_t* theConnection)
    : connection(theConnection)
    , thisMachine(QSysInfo::machineHostName().toLocal8Bit()) {
    const std::initializer_list<std::pair<const char*, quint32*>> atoms = {
        {"_NET_SUPPORTING_WM_CHECK", &supportingWmCheck},
        {"_NET_ACTIVE_WINDOW", &activeWindow},
        {"_NET_WM_PID", &wmPid},
        {"_NET_CURRENT_DESKTOP", &currentDesktop},
        {"_NET_WM_DESKTOP", &windowDesktop}};
    rootWindowId = rootWindow(connection);
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const auto& atom : atoms)
        cookies.push_back(xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(atom.first)), atom.first));
    auto cookie = cookies.cbegin();
    for (const auto& atom : atoms) {
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, *cookie++, nullptr));
        *atom.second = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
}

std::vector<WindowIdentity> WindowReader::identify(std::initializer_list<quint32> windows) const {
    std::vector<IdentityCookies> cookies;
    for (const quint32 window : windows) {
        if (window > XCB_INPUT_FOCUS_POINTER_ROOT)
            cookies.push_back({ask(connection, window, XCB_ATOM_WM_CLASS), ask(connection, window, wmPid),
                               ask(connection, window, XCB_ATOM_WM_CLIENT_MACHINE), askPid(connection, window)});
    }
    std::vector<WindowIdentity> identities;
    auto cookie = cookies.cbegin();
    for (const quint32 window : windows) {
        WindowIdentity& identity = identities.emplace_back();
        if (window <= XCB_INPUT_FOCUS_POINTER_ROOT)
            continue;
        identity.window = window;
        const auto names = bytes(connection, cookie->wmClass).split('\0');
        identity.instance = QString::fromUtf8(names.value(0));
        identity.wmClass = QString::fromUtf8(names.value(1));
        const auto claimed = static_cast<qint32>(number(connection, cookie->pid));
        const bool local = bytes(connection, cookie->machine) == thisMachine;
        identity.pid = pidOf(connection, cookie->client);
        if (identity.pid <= 0)
            identity.pid = local && claimed > 0 ? claimed : 0;
        ++cookie;
    }
    return identities;
}

WindowIdentity WindowReader::clientAbove(quint32 window) const {
    for (int level = 0; level < 32 && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != rootWindowId; ++level) {
        const auto askTree = xcb_query_tree(connection, window);
        WindowIdentity identity = identify({window}).front();
        const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, askTree, nullptr));
        if (identity.named())
            return identity;
        window = tree ? tree->parent : 0;
    }
    return {};
}

WindowIdentity WindowReader::clientBelow(quint32 frame, int depth) const {
    if (!frame)
        return {};
    const auto askTree = xcb_query_tree(connection, frame);
    WindowIdentity identity = identify({frame}).front();
    const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, askTree, nullptr));
    if (identity.named())
        return identity;
    if (!tree || depth == 0)
        return {};
    for (int i = xcb_query_tree_children_length(tree.get()) - 1; i >= 0; --i) {
        WindowIdentity inside = clientBelow(xcb_query_tree_children(tree.get())[i], depth - 1);
        if (inside.window)
            return inside;
    }
    return {};
}

WindowReader::Root WindowReader::root() const {
    const auto askCheck = ask(connection, rootWindowId, supportingWmCheck);
    const auto askActive = ask(connection, rootWindowId, activeWindow);
    const auto askFocus = xcb_get_input_focus(connection);
    const auto askPointer = xcb_query_pointer(connection, rootWindowId);
    Root root;
    root.check = number(connection, askCheck);
    root.active = number(connection, askActive);
    const XReply<xcb_get_input_focus_reply_t> focus(xcb_get_input_focus_reply(connection, askFocus, nullptr));
    const XReply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(connection, askPointer, nullptr));
    root.focus = focus ? focus->focus : 0;
    root.underPointer = pointer ? pointer->child : 0;
    return root;
}

std::optional<quint32> WindowReader::otherDesktopOf(quint32 window) const {
    constexpr quint32 all = 0xffffffff;
    const auto askWanted = ask(connection, window, windowDesktop);
    const auto askShown = ask(connection, rootWindowId, currentDesktop);
    const auto wanted = numberIfSet(connection, askWanted);
    const auto shown = numberIfSet(connection, askShown);
    return wanted && shown && *wanted != *shown && *wanted != all ? wanted : std::nullopt;
}

quint32 WindowReader::windowManager(quint32 check) const {
    return check && number(connection, ask(connection, check, supportingWmCheck)) == check ? check : 0;
}

quint32 WindowReader::windowManager() const {
    return windowManager(number(connection, ask(connection, rootWindowId, supportingWmCheck)));
}

} // namespace ovalin
