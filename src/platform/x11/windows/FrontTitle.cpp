#include "FrontTitle.h"

#include "WindowReader.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/XReply.h"

#include <QCoreApplication>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

QString textOf(xcb_connection_t* connection, xcb_get_property_cookie_t cookie, bool utf8) {
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != 8)
        return {};
    const auto* bytes = static_cast<const char*>(xcb_get_property_value(reply.get()));
    const int length = xcb_get_property_value_length(reply.get());
    return utf8 ? QString::fromUtf8(bytes, length) : QString::fromLatin1(bytes, length);
}

QString titleOf(xcb_connection_t* connection, quint32 window) {
    constexpr quint32 MOST = 1024; // in units of four bytes
    const auto atomAsked = xcb_intern_atom(connection, 1, 12, "_NET_WM_NAME");
    const XReply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(connection, atomAsked, nullptr));
    const auto named = xcb_get_property(connection, 0, window, atom ? atom->atom : quint32{XCB_ATOM_NONE},
                                        XCB_GET_PROPERTY_TYPE_ANY, 0, MOST);
    const auto old = xcb_get_property(connection, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, MOST);
    const QString name = textOf(connection, named, true), oldName = textOf(connection, old, false);
    return name.isEmpty() ? oldName : name;
}

} // namespace

FrontTitle frontTitle(const AppWindow& at) {
    xcb_connection_t* const connection = qtConnection();
    if (!connection)
        return {};
    static const WindowReader reader(connection);
    const WindowReader::Root root = reader.root();
    FrontTitle front;
    const quint32 active = reader.windowManager(root.check) ? root.active : 0;
    const WindowIdentity identity = active ? reader.identify({active}).front() : reader.clientAbove(root.focus);
    if (identity.window != 0 && identity.pid == at.pid)
        front.window = identity.window;
    const quint32 named = front.window ? front.window : at.window;
    if (named != 0)
        front.title = titleOf(connection, named);
    return front;
}

} // namespace ovalin
