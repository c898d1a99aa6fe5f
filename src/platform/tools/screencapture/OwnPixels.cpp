#include "OwnPixels.h"

#include "Failure.h"

#include <algorithm>
#include <chrono>
#include <set>

#include <poll.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/xfixes.h>

namespace ovalin {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// An application paints what was uncovered within some milliseconds. It is done when it has painted and paused, or,
// when it paints all the time (video), after REPAINT_MOST; one that never paints is given up after UNPAINTED.
constexpr milliseconds REPAINT_LEAST{30};
constexpr milliseconds REPAINT_PAUSE{15};
constexpr milliseconds REPAINT_MOST{90};
constexpr milliseconds UNPAINTED{250};

constexpr int LARGEST_AREA = 64'000'000; // pixels: 8k is 33 million

xcb_rectangle_t toX(const Rect& r) {
    return {static_cast<int16_t>(r.x), static_cast<int16_t>(r.y), static_cast<uint16_t>(r.width),
            static_cast<uint16_t>(r.height)};
}

/// An XFixes region, computed by the server.
class Region {
public:
    explicit Region(Screen& screen, const std::vector<xcb_rectangle_t>& list = {})
        : x(screen)
        , region(xcb_generate_id(screen.get())) {
        xcb_xfixes_create_region(x.get(), region, static_cast<uint32_t>(list.size()), list.data());
    }
    Region(Screen& screen, const Rect& rect)
        : Region(screen, std::vector{toX(rect)}) {}
    Region(Screen& screen, const Window& window)
        : x(screen)
        , region(xcb_generate_id(screen.get())) {
        xcb_xfixes_create_region_from_window(x.get(), region, window.id, XCB_SHAPE_SK_BOUNDING);
        move(window.inside.x, window.inside.y);
    }
    ~Region() { xcb_xfixes_destroy_region(x.get(), region); }
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    [[nodiscard]] xcb_xfixes_region_t id() const { return region; }
    void move(int dx, int dy) {
        xcb_xfixes_translate_region(x.get(), region, static_cast<int16_t>(dx), static_cast<int16_t>(dy));
    }
    void unite(const Region& other) { xcb_xfixes_union_region(x.get(), region, other.region, region); }
    void subtract(const Region& other) { xcb_xfixes_subtract_region(x.get(), region, other.region, region); }
    void intersect(const Region& other) { xcb_xfixes_intersect_region(x.get(), region, other.region, region); }

    [[nodiscard]] std::vector<xcb_rectangle_t> rectangles() const {
        const XReply<xcb_xfixes_fetch_region_reply_t> reply(
            xcb_xfixes_fetch_region_reply(x.get(), xcb_xfixes_fetch_region(x.get(), region), nullptr));
        if (!reply)
            return {};
        const auto* first = xcb_xfixes_fetch_region_rectangles(reply.get());
        return {first, first + xcb_xfixes_fetch_region_rectangles_length(reply.get())};
    }

private:
    Screen& x;
    xcb_xfixes_region_t region;
};

void blank(Screen& x, xcb_pixmap_t pixmap, const Region& part) {
    const auto gc = xcb_generate_id(x.get());
    const uint32_t black = x.screen().black_pixel;
    xcb_create_gc(x.get(), gc, pixmap, XCB_GC_FOREGROUND, &black);
    xcb_xfixes_set_gc_clip_region(x.get(), gc, part.id(), 0, 0);
    const xcb_rectangle_t all{0, 0, 0xffff, 0xffff};
    xcb_poly_fill_rectangle(x.get(), pixmap, gc, 1, &all);
    xcb_free_gc(x.get(), gc);
}

bool refused(Screen& x, xcb_void_cookie_t cookie) {
    return XReply<xcb_generic_error_t>(xcb_request_check(x.get(), cookie)) != nullptr;
}

} // namespace

OwnPixels::OwnPixels(Screen& screen, const ServerGrab&, const std::vector<Rect>& theNeeded)
    : x(screen)
    , needed(theNeeded)
    , stack(screen.stack()) {}

OwnPixels::~OwnPixels() {
    for (const auto pixmap : pixmaps)
        xcb_free_pixmap(x.get(), pixmap);
    for (const auto& redirection : redirections) {
        xcb_damage_destroy(x.get(), redirection.damage);
        xcb_composite_unredirect_window(x.get(), redirection.window, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    }
    xcb_flush(x.get());
}

Source OwnPixels::of(const Window& window) {
    if (window.inputOnly)
        throw Failure("the window has no pixels (InputOnly)");
    if (!window.viewable)
        throw Failure("the window is not on the screen (unmapped or iconified)");
    if (window.inside.width <= 1 || window.inside.height <= 1)
        throw Failure("the window has no size");
    if (window.inside.width > LARGEST_AREA / window.inside.height)
        throw Failure("the window is too large");
    const auto lineage = x.lineage(window.id);
    if (lineage.empty())
        throw Failure("the window is gone");
    if (!x.composite)
        return copied(window, window.inside);
    if (auto source = redirectedAlready(window, lineage))
        return *source;
    const auto covered = coveredParts(window, lineage.back());
    return covered.empty() ? copied(window, window.inside) : redirected(window, covered);
}

Source OwnPixels::ofRoot(const Rect& part) {
    const auto root = x.window(x.root());
    if (!root)
        throw Failure("cannot reach the X server");
    return copied(*root, part);
}

/// A window that is redirected has a pixmap to name, and so have its descendants, as a part of it.
std::optional<Source> OwnPixels::redirectedAlready(const Window& window, const std::vector<xcb_window_t>& lineage) {
    for (const auto id : lineage) {
        const auto pixmap = xcb_generate_id(x.get());
        if (refused(x, xcb_composite_name_window_pixmap_checked(x.get(), id, pixmap)))
            continue;
        pixmaps.push_back(pixmap);
        const auto holder = x.window(id);
        if (!holder)
            return std::nullopt;
        const Rect whole = holder->outside();
        const Rect onScreen = window.inside.intersected(whole);
        if (onScreen.empty())
            throw Failure("the window is not on the screen");
        return Source{window.id, pixmap, onScreen.moved(-whole.x, -whole.y), onScreen, x.format(*holder)};
    }
    return std::nullopt;
}

/// What other windows and the edges of the screen hide of the window and is needed, in the window's coordinates.
std::vector<xcb_rectangle_t> OwnPixels::coveredParts(const Window& window, xcb_window_t topLevel) {
    Region covered(x, window.inside);
    covered.subtract(Region(x, x.bounds()));
    auto above = std::find_if(stack.begin(), stack.end(), [&](const Window& w) { return w.id == topLevel; });
    for (; above != stack.end(); ++above) {
        if (above->id != topLevel && !above->outside().intersected(window.inside).empty())
            covered.unite(Region(x, *above));
    }
    Region wanted(x);
    for (const Rect& rect : needed)
        wanted.unite(Region(x, rect));
    covered.intersect(wanted);
    covered.intersect(Region(x, window.inside));
    covered.move(-window.inside.x, -window.inside.y);
    return covered.rectangles();
}

/// What cannot be seen of the window stays black.
Source OwnPixels::copied(const Window& window, const Rect& part) {
    auto format = x.format(window);
    const auto pixmap = xcb_generate_id(x.get());
    const auto width = static_cast<uint16_t>(part.width);
    const auto height = static_cast<uint16_t>(part.height);
    if (refused(x, xcb_create_pixmap_checked(x.get(), static_cast<uint8_t>(window.depth), pixmap, window.id, width,
                                             height)))
        throw Failure("no memory for the picture of the window, or it is gone");
    pixmaps.push_back(pixmap);
    const auto gc = xcb_generate_id(x.get());
    const std::array<uint32_t, 3> values{x.screen().black_pixel, XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    xcb_create_gc(x.get(), gc, pixmap, XCB_GC_FOREGROUND | XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                  values.data());
    const xcb_rectangle_t all{0, 0, width, height};
    xcb_poly_fill_rectangle(x.get(), pixmap, gc, 1, &all);
    xcb_copy_area(x.get(), window.id, pixmap, gc, static_cast<int16_t>(part.x - window.inside.x),
                  static_cast<int16_t>(part.y - window.inside.y), 0, 0, width, height);
    xcb_free_gc(x.get(), gc);
    return {window.id, pixmap, {0, 0, part.width, part.height}, part, std::move(format)};
}

Source OwnPixels::redirected(const Window& window, std::vector<xcb_rectangle_t> covered) {
    auto format = x.format(window);
    const auto damage = xcb_generate_id(x.get());
    xcb_damage_create(x.get(), damage, window.id, XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
    if (refused(x, xcb_composite_redirect_window_checked(x.get(), window.id, XCB_COMPOSITE_REDIRECT_AUTOMATIC)))
        throw Failure("the window cannot be redirected");
    const auto pixmap = xcb_generate_id(x.get());
    redirections.push_back({window.id, damage, pixmap, window.border, std::move(covered)});
    if (refused(x, xcb_composite_name_window_pixmap_checked(x.get(), window.id, pixmap)))
        throw Failure("the window has no pixmap");
    pixmaps.push_back(pixmap);
    return {window.id,
            pixmap,
            {window.border, window.border, window.inside.width, window.inside.height},
            window.inside,
            std::move(format)};
}

void OwnPixels::waitForRepaint() {
    if (redirections.empty())
        return;
    xcb_flush(x.get());
    const auto damageEvent = xcb_get_extension_data(x.get(), &xcb_damage_id)->first_event + XCB_DAMAGE_NOTIFY;
    const auto start = Clock::now();
    auto last = start;
    std::set<xcb_drawable_t> painted;
    for (auto now = start; !xcb_connection_has_error(x.get()); now = Clock::now()) {
        while (const auto event = XReply<xcb_generic_event_t>(xcb_poll_for_event(x.get()))) {
            if ((event->response_type & 0x7f) != damageEvent)
                continue;
            painted.insert(reinterpret_cast<const xcb_damage_notify_event_t*>(event.get())->drawable);
            last = now;
        }
        const bool all = painted.size() == redirections.size();
        const bool pause = now - start >= REPAINT_LEAST && now - last >= REPAINT_PAUSE;
        if ((all && pause) || now - start >= (all ? REPAINT_MOST : UNPAINTED))
            break;
        pollfd descriptor{xcb_get_file_descriptor(x.get()), POLLIN, 0};
        ::poll(&descriptor, 1, 5);
    }
    const ServerGrab grab(x);
    for (const auto& redirection : redirections)
        blankUnpainted(redirection);
}

/// The pixmap began as a copy of the screen: where nobody has painted since, it still shows what lay over the window.
void OwnPixels::blankUnpainted(const Redirection& redirection) {
    Region unpainted(x, redirection.covered);
    const Region painted(x);
    xcb_damage_subtract(x.get(), redirection.damage, XCB_NONE, painted.id());
    unpainted.subtract(painted);
    unpainted.move(redirection.border, redirection.border);
    blank(x, redirection.pixmap, unpainted);
}

} // namespace ovalin
