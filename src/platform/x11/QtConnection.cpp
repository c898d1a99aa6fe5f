#include "QtConnection.h"

#include "XReply.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

// The mask belongs to the connection, and Qt has its own in there.
void changeWindowEvents(xcb_connection_t* connection, unsigned window, unsigned added, unsigned dropped) {
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, window), nullptr));
    if (!attributes)
        return;
    const uint32_t before = attributes->your_event_mask, mask = (before | added) & ~dropped;
    if (mask == before)
        return;
    xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);
}

} // namespace

xcb_connection_t* qtConnection() {
    if (!qGuiApp)
        return nullptr;
    auto* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native ? native->connection() : nullptr;
}

void addWindowEvents(xcb_connection_t* connection, unsigned window, unsigned events) {
    changeWindowEvents(connection, window, events, 0);
}

void dropWindowEvents(xcb_connection_t* connection, unsigned window, unsigned events) {
    changeWindowEvents(connection, window, 0, events);
}

} // namespace ovalin
