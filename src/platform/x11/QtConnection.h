#pragma once

struct xcb_connection_t;

namespace ovalin {

/// The connection that Qt's windows live on; null when Qt does not run on X11. Main thread. libxcb lets other threads
/// send requests on it and wait for their replies; its events go to Qt, and to native event filters.
[[nodiscard]] xcb_connection_t* qtConnection();

/// Asks for further events (XCB_EVENT_MASK_…) of a window for native event filters; the mask belongs to the connection,
/// and others have theirs in there. One round trip.
void addWindowEvents(xcb_connection_t* connection, unsigned window, unsigned events);
/// No longer asks for them; nobody else may want them.
void dropWindowEvents(xcb_connection_t* connection, unsigned window, unsigned events);

} // namespace ovalin
