#include "KeyboardGrab.h"

#include "platform/x11/XReply.h"

#include <optional>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

xcb_grab_keyboard_cookie_t askGrab(xcb_connection_t* connection, quint32 window) {
    return xcb_grab_keyboard(connection, 0, window, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
}

bool granted(xcb_connection_t* connection, xcb_grab_keyboard_cookie_t cookie) {
    const XReply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(connection, cookie, nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

} // namespace

KeyboardGrab::KeyboardGrab(xcb_connection_t* theConnection)
    : connection(theConnection) {}

bool KeyboardGrab::grab(quint32 window) {
    if (!connection)
        return false;
    // Locked over the round trip: a copy must not be queued between the request and what we make of its answer.
    const std::lock_guard lock(mutex);
    const bool success = granted(connection, askGrab(connection, window));
    if (success)
        heldFor = window;
    return success;
}

void KeyboardGrab::release() {
    const std::lock_guard lock(mutex);
    if (!heldFor)
        return;
    heldFor = 0;
    xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

bool KeyboardGrab::held() const {
    const std::lock_guard lock(mutex);
    return heldFor != 0;
}

bool KeyboardGrab::openFor(const std::function<void()>& before, const std::function<void()>& inGap,
                           const std::function<void()>& after) {
    quint32 window = 0;
    std::optional<xcb_grab_keyboard_cookie_t> again;
    xcb_get_input_focus_cookie_t end{};
    {
        const std::lock_guard lock(mutex);
        window = heldFor;
        before();
        // Also when we hold nothing: the hotkey's own grab lasts until its key goes up.
        xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
        inGap();
        if (window)
            again = askGrab(connection, window);
        after();
        end = xcb_get_input_focus(connection);
        xcb_flush(connection);
    }
    const bool success = !again || granted(connection, *again);
    const XReply<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(connection, end, nullptr));
    if (!success) {
        const std::lock_guard lock(mutex);
        if (heldFor == window)
            heldFor = 0;
    }
    return success;
}

} // namespace ovalin
