#pragma once

struct xcb_connection_t;

namespace ovalin {

/// The number in DISPLAY's ":0.NUMBER".
[[nodiscard]] int screenNumber();

/// The root window of that screen.
[[nodiscard]] unsigned rootWindow(xcb_connection_t* connection);

} // namespace ovalin
