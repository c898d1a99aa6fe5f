#pragma once

#include "PixelFormat.h"

#include "platform/x11/ScreenConnection.h"

#include <optional>
#include <vector>

namespace ovalin {

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    [[nodiscard]] bool empty() const { return width <= 0 || height <= 0; }
    [[nodiscard]] Rect intersected(const Rect& other) const;
    [[nodiscard]] Rect moved(int dx, int dy) const { return {x + dx, y + dy, width, height}; }
};

/// What there is to know about one window. Rectangles are in root coordinates.
struct Window {
    xcb_window_t id = XCB_NONE;
    Rect inside; ///< without the X border
    int border = 0;
    int depth = 0;
    xcb_visualid_t visual = 0;
    xcb_colormap_t colormap = XCB_NONE;
    bool inputOnly = false;
    bool viewable = false;

    [[nodiscard]] Rect outside() const {
        return {inside.x - border, inside.y - border, inside.width + 2 * border, inside.height + 2 * border};
    }
};

/// The X server, with what the capture needs to ask it. Throws Failure when the server is not there.
class Screen : public ScreenConnection {
public:
    Screen();

    bool composite = false; ///< windows can be redirected (Composite, with Damage and XFixes)
    bool shape = false;
    bool sharedMemory = false;   ///< MIT-SHM with file descriptors
    bool compositorRuns = false; ///< ICCCM manager selection _NET_WM_CM_Sn is owned

    [[nodiscard]] std::optional<Window> window(xcb_window_t id) const;

    /// The window itself, its parent, ... up to the child of the root.
    [[nodiscard]] std::vector<xcb_window_t> lineage(xcb_window_t id) const;

    /// The viewable children of the root that have pixels, bottom to top.
    [[nodiscard]] std::vector<Window> stack() const;

    /// WM_CLASS, both words, NUL after each; that of the client inside when `id` is a window manager's frame.
    [[nodiscard]] std::string classOf(xcb_window_t id, int generations = 2) const;

    /// The main monitor (RandR), else the whole root.
    [[nodiscard]] Rect mainDisplay() const;

    /// How pixels of that visual and depth are stored; alpha only counts where a compositor shows it.
    [[nodiscard]] PixelFormat format(const Window& window) const;

    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;
    [[nodiscard]] Rect bounds() const { return {0, 0, screen().width_in_pixels, screen().height_in_pixels}; }

private:
    [[nodiscard]] std::vector<xcb_window_t> children(xcb_window_t id) const;
    [[nodiscard]] bool has(xcb_extension_t& extension) const;
    void greetExtensions();
    void readColors(PixelFormat& format, xcb_visualtype_t visual, xcb_colormap_t colormap) const;
};

/// Holds the server to ourselves: what was asked stays true until we have acted on it. Keep it short.
class ServerGrab {
public:
    explicit ServerGrab(Screen& screen)
        : x(screen) {
        xcb_grab_server(x.get());
    }
    ~ServerGrab() {
        xcb_ungrab_server(x.get());
        xcb_flush(x.get());
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    Screen& x;
};

} // namespace ovalin
