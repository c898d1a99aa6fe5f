#include "WindowReader.h"

#include "platform/x11/RootWindow.h"
#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"

#include <QList>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

struct IdentityCookies {
    xcb_get_property_cookie_t wmClass;
    WindowOwners::Question owner;
};

} // namespace

WindowReader::WindowReader(xcb_connection_t* theConnection)
    : connection(theConnection)
    , owners(theConnection)
    , rootWindowId(rootWindow(theConnection)) {
    constexpr const char* NAMES[] = {"_NET_SUPPORTING_WM_CHECK", "_NET_ACTIVE_WINDOW", "_NET_CLIENT_LIST_STACKING",
                                     "_NET_CURRENT_DESKTOP",     "_NET_WM_DESKTOP",    "_NET_WM_NAME"};
    const auto atoms = internAtoms(connection, NAMES);
    supportingWmCheck = atoms[0];
    activeWindow = atoms[1];
    clientList = atoms[2];
    currentDesktop = atoms[3];
    windowDesktop = atoms[4];
    windowName = atoms[5];
}

std::vector<WindowIdentity> WindowReader::identify(const std::vector<quint32>& windows) const {
    std::vector<IdentityCookies> cookies;
    for (const quint32 window : windows) {
        if (window > XCB_INPUT_FOCUS_POINTER_ROOT)
            cookies.push_back({askProperty(connection, window, XCB_ATOM_WM_CLASS), owners.ask(window)});
    }
    std::vector<WindowIdentity> identities;
    auto cookie = cookies.cbegin();
    for (const quint32 window : windows) {
        WindowIdentity& identity = identities.emplace_back();
        if (window <= XCB_INPUT_FOCUS_POINTER_ROOT)
            continue;
        identity.window = window;
        const auto names = takeBytes(connection, cookie->wmClass).split('\0');
        identity.instance = QString::fromUtf8(names.value(0));
        identity.wmClass = QString::fromUtf8(names.value(1));
        identity.pid = owners.answer(cookie->owner);
        ++cookie;
    }
    return identities;
}

std::vector<WindowIdentity> WindowReader::upwards(quint32 window, Until end) const {
    std::vector<WindowIdentity> line;
    while (line.size() < 32 && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != rootWindowId) {
        const auto askTree = xcb_query_tree(connection, window);
        line.push_back(identify({window}).front());
        const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, askTree, nullptr));
        if (end == Until::Named && line.back().named())
            break;
        window = tree ? tree->parent : 0;
    }
    return line;
}

WindowIdentity WindowReader::clientAbove(quint32 window) const {
    const auto line = upwards(window, Until::Named);
    return !line.empty() && line.back().named() ? line.back() : WindowIdentity{};
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
    const auto askCheck = askProperty(connection, rootWindowId, supportingWmCheck);
    const auto askActive = askProperty(connection, rootWindowId, activeWindow);
    const auto askFocus = xcb_get_input_focus(connection);
    const auto askPointer = xcb_query_pointer(connection, rootWindowId);
    Root root;
    root.check = takeWord(connection, askCheck);
    root.active = takeWord(connection, askActive);
    const XReply<xcb_get_input_focus_reply_t> focus(xcb_get_input_focus_reply(connection, askFocus, nullptr));
    const XReply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(connection, askPointer, nullptr));
    root.focus = focus ? focus->focus : 0;
    root.underPointer = pointer ? pointer->child : 0;
    return root;
}

std::optional<quint32> WindowReader::otherDesktopOf(quint32 window) const {
    constexpr quint32 all = 0xffffffff;
    const auto askWanted = askProperty(connection, window, windowDesktop);
    const auto askShown = askProperty(connection, rootWindowId, currentDesktop);
    const auto wanted = takeWords(connection, askWanted);
    const auto shown = takeWords(connection, askShown);
    if (wanted.empty() || shown.empty() || wanted.front() == shown.front() || wanted.front() == all)
        return {};
    return wanted.front();
}

quint32 WindowReader::windowManager(quint32 check) const {
    return check && takeWord(connection, askProperty(connection, check, supportingWmCheck)) == check ? check : 0;
}

quint32 WindowReader::windowManager() const {
    return windowManager(takeWord(connection, askProperty(connection, rootWindowId, supportingWmCheck)));
}

quint32 WindowReader::active() const {
    return takeWord(connection, askProperty(connection, rootWindowId, activeWindow));
}

std::vector<quint32> WindowReader::listedWindows() const {
    return takeWords(connection, askProperty(connection, rootWindowId, clientList));
}

std::vector<quint32> WindowReader::managedWindows() const {
    return windowManager() ? listedWindows() : std::vector<quint32>();
}

QStringList WindowReader::titles(const std::vector<quint32>& windows) const {
    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> asked;
    for (const quint32 window : windows)
        asked.emplace_back(askProperty(connection, window, windowName),
                           askProperty(connection, window, XCB_ATOM_WM_NAME));
    QStringList titles;
    for (const auto& [named, old] : asked) {
        const QByteArray name = takeBytes(connection, named), oldName = takeBytes(connection, old);
        titles << (name.isEmpty() ? QString::fromLatin1(oldName) : QString::fromUtf8(name));
    }
    return titles;
}

QStringList WindowReader::titlesTopDown() const {
    auto order = listedWindows();
    if (const quint32 window = active())
        order.push_back(window);
    return titles({order.rbegin(), order.rend()});
}

} // namespace ovalin
