#pragma once

#include "XReply.h"

#include <xcb/xcb.h>

namespace ovalin {

/// A connection to the X server with the screen it is for, closed when it goes.
class ScreenConnection {
public:
    /// `display` as in $DISPLAY; null: $DISPLAY itself.
    explicit ScreenConnection(const char* display = nullptr) {
        int number = 0;
        connection = xcb_connect(display, &number);
        if (xcb_connection_has_error(connection))
            return;
        auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (; it.rem > 1 && number > 0; --number)
            xcb_screen_next(&it);
        theScreen = it.data;
    }
    ~ScreenConnection() { xcb_disconnect(connection); }
    ScreenConnection(const ScreenConnection&) = delete;
    ScreenConnection& operator=(const ScreenConnection&) = delete;

    /// False when there is no server, or no longer.
    [[nodiscard]] explicit operator bool() const { return theScreen && !xcb_connection_has_error(connection); }
    [[nodiscard]] xcb_connection_t* get() const { return connection; }
    [[nodiscard]] const xcb_screen_t& screen() const { return *theScreen; }
    [[nodiscard]] xcb_window_t root() const { return theScreen->root; }

private:
    xcb_connection_t* connection = nullptr;
    xcb_screen_t* theScreen = nullptr;
};

} // namespace ovalin
