#include "FrontWindow.h"

#include "XWindowId.h"
#include "platform/x11/QtConnection.h"

#include <thread>

#include <unistd.h>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds LOOK_AGAIN{3};
constexpr quint32 FROM_A_PAGER = 2; // EWMH source indication: a wish of the user's, not of an application's

bool sameClient(xcb_connection_t* connection, quint32 one, quint32 other) {
    return ((one ^ other) & ~xcb_get_setup(connection)->resource_id_mask) == 0;
}

bool belongs(const WindowIdentity& identity, qint32 pid) {
    return identity.window && identity.pid != ::getpid() && (pid < 1 || identity.pid == pid);
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
        front.window = {identity.window};
    if (const WindowId named = front.window ? front.window : at.window)
        front.title = reader.title(xWindow(named));
    return front;
}

WindowIdentity FrontWindow::identify(const AppWindow& target) const {
    WindowIdentity identity = reader.identify({xWindow(target.window)}).front();
    // The number may be another window's by now.
    return identity.named() && belongs(identity, target.pid) ? identity : WindowIdentity{};
}

WindowIdentity FrontWindow::find(const AppWindow& target) const {
    if (!target.window && target.pid < 1)
        return {}; // nobody in particular: whoever happens to be in front is not meant
    const WindowReader::Root root = reader.root();
    WindowIdentity focused = root.focus == XCB_INPUT_FOCUS_POINTER_ROOT ? reader.clientBelow(root.underPointer)
                                                                        : reader.clientAbove(root.focus);
    if (!target.window || focused.window == xWindow(target.window))
        return belongs(focused, target.pid) ? focused : WindowIdentity{};
    const bool active = root.active == xWindow(target.window) && reader.windowManager(root.check);
    return active && sameClient(connection, root.focus, xWindow(target.window)) ? identify(target) : WindowIdentity{};
}

WindowIdentity FrontWindow::bring(const AppWindow& target, std::chrono::steady_clock::time_point deadline) const {
    WindowIdentity found = find(target);
    if (found.window || !target.window || !identify(target).window)
        return found;
    ask(xWindow(target.window));
    while (!found.window && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(LOOK_AGAIN);
        found = find(target);
    }
    return found;
}

void FrontWindow::tellRoot(quint32 window, quint32 type, quint32 value) const {
    union { // an event is 32 bytes on the wire
        xcb_client_message_event_t message;
        char bytes[32] = {};
    };
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = type;
    message.data.data32[0] = value;
    xcb_send_event(connection, 0, reader.rootId(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, bytes);
}

void FrontWindow::ask(quint32 window) const {
    if (reader.windowManager()) {
        // Several window managers only mark a window of another workspace as urgent when they are asked to activate it.
        if (const auto desktop = reader.otherDesktopOf(window))
            tellRoot(reader.rootId(), reader.currentDesktopAtom(), *desktop);
        tellRoot(window, reader.activeWindowAtom(), FROM_A_PAGER);
    } else {
        const quint32 above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
    }
    xcb_flush(connection);
}

} // namespace ovalin
