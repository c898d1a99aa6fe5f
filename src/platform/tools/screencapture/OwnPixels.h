#pragma once

#include "Screen.h"

#include <functional>

namespace ovalin {

/// Pixels on the server that stay readable whatever happens to the window they came from.
struct Source {
    xcb_window_t window = XCB_NONE;
    xcb_pixmap_t pixmap = XCB_NONE;
    Rect area;     ///< of the pixmap
    Rect onScreen; ///< where that lies, root coordinates
    PixelFormat format;
};

/// The own pixels of windows, also where other windows cover them (Composite extension):
///
///     redirected already, by a compositor or for its depth    its pixmap, complete
///     nothing lies over it                                    a copy
///     covered                                                 redirected by us: the application paints the covered
///                                                             parts anew, since they are now exposed
///
/// What an application does not paint stays black; what covered it is never in the picture. The same holds for covered
/// windows of servers without Composite (8-bit PseudoColor screens).
class OwnPixels {
public:
    /// Blank spots outside `needed` (root coordinates) do not matter.
    OwnPixels(Screen& screen, const ServerGrab& grab, const std::vector<Rect>& needed);
    ~OwnPixels();
    OwnPixels(const OwnPixels&) = delete;
    OwnPixels& operator=(const OwnPixels&) = delete;

    /// Takes one window. Throws Failure when it has no pixels.
    Source of(const Window& window);

    /// The part `part` of what the root shows, all windows included.
    Source ofRoot(const Rect& part);

    /// Gives the applications the time to paint what was covered, before anything is read. Not under the grab.
    void waitForRepaint();

private:
    struct Redirection {
        xcb_window_t window;
        uint32_t damage; ///< gathers what was painted since
        xcb_pixmap_t pixmap;
        int border;
        std::vector<xcb_rectangle_t> covered; ///< window coordinates
    };

    std::optional<Source> redirectedAlready(const Window& window, const std::vector<xcb_window_t>& lineage);
    std::vector<xcb_rectangle_t> coveredParts(const Window& window, xcb_window_t topLevel);
    Source copied(const Window& window, const Rect& part);
    Source redirected(const Window& window, std::vector<xcb_rectangle_t> covered);
    void blankUnpainted(const Redirection& redirection);

    Screen& x;
    std::vector<Rect> needed;
    std::vector<Window> stack; ///< bottom to top
    std::vector<xcb_pixmap_t> pixmaps;
    std::vector<Redirection> redirections;
};

/// Reads the pixels from the top, row by row, as RGBA. Throws Failure.
void forEachRow(Screen& screen, const Source& source, const std::function<void(int y, const uint8_t* rgba)>& row);

} // namespace ovalin
