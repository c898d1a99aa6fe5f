#pragma once

#include "XReply.h"

#include <xcb/xcb.h>

namespace ovalin {

/// A connection to the X server with the screen it is for, closed when it goes.
class WindowsConnection {
public:
    /// `display` as in $DISPLAY; null: $DISPLAY itself.
    explicit WindowsConnection(const char* display = nullptr) {
        int number = 0;
        connection = xcb_connect(display, &number);
        if (xcb_connection_has_error(connection))
            return;
        auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (; it.rem > 1 && number > 0; --number)
            xcb_screen_next(&it);
        theScreen = it.data;
    }
    ~WindowsConnection() { xcb_disconnect(connection); }
    WindowsConnection(const WindowsConnection&) = delete;
    WindowsConnection& operator=(const WindowsConnection&) = delete;

    [[nodiscard]] explicit operator bool() const { return theScreen && !xcb_connection_has_error(connection); }
    [[nodiscard]] xcb_connection_t* get() const { return connection; }
    [[nodiscard]] const xcb_screen_t& screen() const { return *theScreen; }
    [[nodiscard]] xcb_window_t root() const { return theScreen->root; }

private:
    xcb_connection_t* connection = nullptr;
    xcb_screen_t* theScreen = nullptr;
};

} // namespace ovalin
