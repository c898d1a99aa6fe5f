#include "XConnection.h"

#include <poll.h>
#include <xcb/xfixes.h>

namespace ovalin {

namespace {

const char* const CLOCK_PROPERTY = "_OVALIN_CLOCK";

template <class T>
XReply<T> own(T* reply) {
    return XReply<T>(reply);
}

} // namespace

XConnection::XConnection(const QByteArray& display)
    : server(display.isEmpty() ? nullptr : display.constData())
    , connection(server.get())
    , rootWindow(server ? server.root() : xcb_window_t{XCB_WINDOW_NONE}) {}

bool XConnection::isOwn(quint32 id) const {
    if (!isOpen())
        return false;
    const auto* setup = xcb_get_setup(connection);
    return (id & ~setup->resource_id_mask) == setup->resource_id_base;
}

xcb_atom_t XConnection::atom(const QByteArray& name) {
    if (const auto known = atoms.constFind(name); known != atoms.constEnd())
        return *known;
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<quint16>(name.size()), name.constData());
    const auto reply = own(xcb_intern_atom_reply(connection, cookie, nullptr));
    if (!reply)
        return XCB_ATOM_NONE;
    atoms.insert(name, reply->atom);
    names.insert(reply->atom, name);
    return reply->atom;
}

std::vector<QByteArray> XConnection::atomNames(const std::vector<xcb_atom_t>& wanted) {
    std::vector<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> asked;
    for (const xcb_atom_t atom : wanted) {
        if (atom != XCB_ATOM_NONE && !names.contains(atom))
            asked.emplace_back(atom, xcb_get_atom_name(connection, atom));
    }
    for (const auto& [atom, cookie] : asked) {
        if (const auto reply = own(xcb_get_atom_name_reply(connection, cookie, nullptr))) {
            const QByteArray name(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
            names.insert(atom, name);
            atoms.insert(name, atom);
        }
    }
    std::vector<QByteArray> found;
    for (const xcb_atom_t atom : wanted)
        found.push_back(names.value(atom));
    return found;
}

quint8 XConnection::selectionNotifyType() {
    if (selectionNotify)
        return *selectionNotify;
    selectionNotify = 0;
    const auto* fixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (!fixes || !fixes->present)
        return 0;
    // The extension refuses to work for a client that did not ask for its version.
    if (own(xcb_xfixes_query_version_reply(connection, xcb_xfixes_query_version(connection, 5, 0), nullptr)))
        selectionNotify = static_cast<quint8>(fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    return *selectionNotify;
}

xcb_window_t XConnection::makeHiddenWindow(quint32 eventMask) {
    if (!isOpen())
        return XCB_WINDOW_NONE;
    const xcb_window_t window = xcb_generate_id(connection);
    const quint32 values[] = {1, eventMask};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, rootWindow, -10, -10, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                      values);
    return window;
}

XReply<xcb_generic_event_t> XConnection::waitForEvent(Deadline deadline) {
    xcb_flush(connection);
    for (;;) {
        if (auto event = own(xcb_poll_for_event(connection)))
            return event;
        if (!isOpen() || std::chrono::steady_clock::now() >= deadline)
            return nullptr;
        pollfd ready{descriptor(), POLLIN, 0};
        ::poll(&ready, 1, pollTimeout(deadline));
    }
}

std::optional<quint32> XConnection::serverTime(Deadline deadline) {
    if (clockWindow == XCB_WINDOW_NONE)
        clockWindow = makeHiddenWindow(XCB_EVENT_MASK_PROPERTY_CHANGE);
    const auto request = xcb_change_property(connection, XCB_PROP_MODE_APPEND, clockWindow, atom(CLOCK_PROPERTY),
                                             XCB_ATOM_INTEGER, 32, 0, nullptr);
    while (const auto event = waitForEvent(deadline)) {
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
            continue;
        const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
        // Not the answer to an earlier question that was given up.
        if (notify->window == clockWindow && notify->sequence == static_cast<quint16>(request.sequence))
            return notify->time;
    }
    return {};
}

} // namespace ovalin
