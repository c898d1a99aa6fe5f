#include "RootWindow.h"

#include <cstdlib>

#include <xcb/xcb.h>

namespace ovalin {

int screenNumber() {
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    if (!xcb_parse_display(nullptr, &host, &display, &screen))
        return 0;
    std::free(host);
    return screen;
}

unsigned rootWindow(xcb_connection_t* connection) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int skip = screenNumber(); skip > 0 && screens.rem > 1; --skip)
        xcb_screen_next(&screens);
    return screens.data->root;
}

} // namespace ovalin
