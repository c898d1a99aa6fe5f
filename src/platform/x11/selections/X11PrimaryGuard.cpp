#include "X11PrimaryGuard.h"

#include <atomic>

#include <dlfcn.h>
#include <xcb/xcb.h>

namespace {

std::atomic<bool> guardActive{false};

} // namespace

// Same signature as in xcb/xproto.h, and in the same object file as setActive() so that the linker takes it along.
extern "C" __attribute__((visibility("default"))) xcb_void_cookie_t
xcb_set_selection_owner(xcb_connection_t* connection, xcb_window_t owner, xcb_atom_t selection, xcb_timestamp_t time) {
    static const auto next =
        reinterpret_cast<decltype(&xcb_set_selection_owner)>(::dlsym(RTLD_NEXT, "xcb_set_selection_owner"));
    if (!next || (guardActive && selection == XCB_ATOM_PRIMARY && owner != XCB_NONE))
        return {};
    return next(connection, owner, selection, time);
}

void ovalin::X11PrimaryGuard::setActive(bool active) { guardActive = active; }
