#include "Screen.h"

#include "Failure.h"

#include <algorithm>
#include <bit>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

namespace ovalin {

namespace {

struct DepthLayout {
    int bitsPerPixel = 0;
    int scanlinePad = 32;
};

DepthLayout layoutOf(const xcb_setup_t* setup, int depth) {
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem; xcb_format_next(&it)) {
        if (it.data->depth == depth)
            return {it.data->bits_per_pixel, it.data->scanline_pad};
    }
    return {};
}

std::optional<xcb_visualtype_t> visualType(const xcb_screen_t& screen, xcb_visualid_t id) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem; xcb_depth_next(&depth)) {
        for (auto it = xcb_depth_visuals_iterator(depth.data); it.rem; xcb_visualtype_next(&it)) {
            if (it.data->visual_id == id)
                return *it.data;
        }
    }
    return std::nullopt;
}

Window described(xcb_window_t id, const xcb_get_window_attributes_reply_t& attributes,
                 const xcb_get_geometry_reply_t& geometry, int x, int y) {
    Window w;
    w.id = id;
    w.inside = {x, y, geometry.width, geometry.height};
    w.border = geometry.border_width;
    w.depth = geometry.depth;
    w.visual = attributes.visual;
    w.colormap = attributes.colormap;
    w.inputOnly = attributes._class == XCB_WINDOW_CLASS_INPUT_ONLY;
    w.viewable = attributes.map_state == XCB_MAP_STATE_VIEWABLE;
    return w;
}

} // namespace

Rect Rect::intersected(const Rect& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    return {left, top, std::min(x + width, other.x + other.width) - left,
            std::min(y + height, other.y + other.height) - top};
}

Screen::Screen() {
    if (!*this)
        throw Failure("cannot reach the X server");
    composite = has(xcb_composite_id) && has(xcb_xfixes_id) && has(xcb_damage_id);
    shape = has(xcb_shape_id);
    sharedMemory = has(xcb_shm_id);
    greetExtensions();
    int number = 0;
    for (auto it = xcb_setup_roots_iterator(xcb_get_setup(get())); it.rem; xcb_screen_next(&it), ++number) {
        if (it.data->root != root())
            continue;
        const xcb_atom_t manager = atom("_NET_WM_CM_S" + std::to_string(number));
        const XReply<xcb_get_selection_owner_reply_t> owner(
            xcb_get_selection_owner_reply(get(), xcb_get_selection_owner(get(), manager), nullptr));
        compositorRuns = owner && owner->owner != XCB_NONE;
    }
}

bool Screen::has(xcb_extension_t& extension) const {
    const auto* data = xcb_get_extension_data(get(), &extension);
    return data && data->present;
}

/// Servers serve an extension only after the client named the version it knows.
void Screen::greetExtensions() {
    if (composite) {
        const auto askComposite = xcb_composite_query_version(get(), 0, 4);
        const auto askFixes = xcb_xfixes_query_version(get(), 4, 0);
        const auto askDamage = xcb_damage_query_version(get(), 1, 1);
        const XReply<xcb_composite_query_version_reply_t> version(
            xcb_composite_query_version_reply(get(), askComposite, nullptr));
        const XReply<xcb_xfixes_query_version_reply_t> fixes(xcb_xfixes_query_version_reply(get(), askFixes, nullptr));
        const XReply<xcb_damage_query_version_reply_t> damage(
            xcb_damage_query_version_reply(get(), askDamage, nullptr));
        composite = version && fixes && damage && (version->major_version > 0 || version->minor_version >= 2);
    }
    if (sharedMemory) {
        const XReply<xcb_shm_query_version_reply_t> reply(
            xcb_shm_query_version_reply(get(), xcb_shm_query_version(get()), nullptr));
        sharedMemory = reply && (reply->major_version > 1 || reply->minor_version >= 2);
    }
}

xcb_atom_t Screen::atom(const std::string& name) const {
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        get(), xcb_intern_atom(get(), false, static_cast<uint16_t>(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::optional<Window> Screen::window(xcb_window_t id) const {
    const auto askAttributes = xcb_get_window_attributes(get(), id);
    const auto askGeometry = xcb_get_geometry(get(), id);
    const auto askOrigin = xcb_translate_coordinates(get(), id, root(), 0, 0);
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(get(), askAttributes, nullptr));
    const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(get(), askGeometry, nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(get(), askOrigin, nullptr));
    if (!attributes || !geometry || !origin)
        return std::nullopt;
    return described(id, *attributes, *geometry, origin->dst_x, origin->dst_y);
}

std::vector<xcb_window_t> Screen::lineage(xcb_window_t id) const {
    std::vector<xcb_window_t> line;
    while (id != XCB_NONE && id != root()) {
        line.push_back(id);
        const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(get(), xcb_query_tree(get(), id), nullptr));
        id = tree ? tree->parent : XCB_NONE;
    }
    return line;
}

std::vector<xcb_window_t> Screen::children(xcb_window_t id) const {
    const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(get(), xcb_query_tree(get(), id), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

std::vector<Window> Screen::stack() const {
    const auto ids = children(root());
    std::vector<std::pair<xcb_get_window_attributes_cookie_t, xcb_get_geometry_cookie_t>> cookies;
    for (const auto id : ids)
        cookies.emplace_back(xcb_get_window_attributes(get(), id), xcb_get_geometry(get(), id));
    std::vector<Window> windows;
    for (size_t i = 0; i < ids.size(); ++i) {
        const XReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(get(), cookies[i].first, nullptr));
        const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(get(), cookies[i].second, nullptr));
        // A window of the server itself is the compositor's canvas, which shows the others.
        const bool overlay = (ids[i] & ~xcb_get_setup(get())->resource_id_mask) == 0;
        if (!attributes || !geometry || overlay)
            continue;
        const Window w = described(ids[i], *attributes, *geometry, geometry->x + geometry->border_width,
                                   geometry->y + geometry->border_width);
        if (w.viewable && !w.inputOnly)
            windows.push_back(w);
    }
    return windows;
}

std::string Screen::classOf(xcb_window_t id, int generations) const {
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        get(), xcb_get_property(get(), false, id, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY, 0, 256), nullptr));
    if (reply && xcb_get_property_value_length(reply.get()) > 0) {
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<size_t>(xcb_get_property_value_length(reply.get()))};
    }
    if (generations > 0) {
        for (const auto child : children(id)) {
            if (auto name = classOf(child, generations - 1); !name.empty())
                return name;
        }
    }
    return {};
}

Rect Screen::mainDisplay() const {
    auto& extension = xcb_randr_id;
    if (!has(extension))
        return bounds();
    const XReply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(get(), xcb_randr_query_version(get(), 1, 5), nullptr));
    const XReply<xcb_randr_get_monitors_reply_t> monitors(
        xcb_randr_get_monitors_reply(get(), xcb_randr_get_monitors(get(), root(), true), nullptr));
    std::optional<Rect> found;
    if (monitors) {
        for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem;
             xcb_randr_monitor_info_next(&it)) {
            if (!found || it.data->primary)
                found = Rect{it.data->x, it.data->y, it.data->width, it.data->height};
        }
    }
    const Rect visible = found.value_or(bounds()).intersected(bounds());
    return visible.empty() ? bounds() : visible;
}

PixelFormat Screen::format(const Window& window) const {
    const auto* setup = xcb_get_setup(get());
    const auto layout = layoutOf(setup, window.depth);
    const auto visual = visualType(screen(), window.visual);
    const auto manyBits = [](uint32_t mask) { return std::popcount(mask) > 16; };
    if (window.depth < 8 || layout.bitsPerPixel < 8 || layout.bitsPerPixel > 32 || !visual ||
        manyBits(visual->red_mask) || manyBits(visual->green_mask) || manyBits(visual->blue_mask))
        throw Failure("the window has no colours (depth " + std::to_string(window.depth) + ")");

    PixelFormat format;
    format.bitsPerPixel = layout.bitsPerPixel;
    format.scanlinePad = layout.scanlinePad;
    format.mostSignificantByteFirst = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    format.kind = visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR || visual->_class == XCB_VISUAL_CLASS_DIRECT_COLOR
                      ? PixelFormat::Kind::Components
                      : PixelFormat::Kind::Indexed;
    format.components = {PixelFormat::evenly(visual->red_mask), PixelFormat::evenly(visual->green_mask),
                         PixelFormat::evenly(visual->blue_mask)};
    if (visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR)
        readColors(format, *visual, window.colormap ? window.colormap : screen().default_colormap);
    const uint32_t rest = ~(visual->red_mask | visual->green_mask | visual->blue_mask);
    if (compositorRuns && window.depth == 32 && std::popcount(rest) == 8)
        format.alphaMask = rest;
    return format;
}

/// The colours behind the pixel values, of an index or of each component by itself.
void Screen::readColors(PixelFormat& format, xcb_visualtype_t visual, xcb_colormap_t colormap) const {
    std::vector<uint32_t> pixels;
    for (uint32_t i = 0; i < visual.colormap_entries; ++i) {
        uint32_t pixel = i;
        if (format.kind == PixelFormat::Kind::Components) {
            pixel = 0;
            for (const auto& component : format.components)
                pixel |= (i << std::countr_zero(component.mask)) & component.mask;
        }
        pixels.push_back(pixel);
    }
    const XReply<xcb_query_colors_reply_t> reply(xcb_query_colors_reply(
        get(), xcb_query_colors(get(), colormap, static_cast<uint32_t>(pixels.size()), pixels.data()), nullptr));
    if (!reply)
        return;
    const auto* rgb = xcb_query_colors_colors(reply.get());
    for (int i = 0; i < xcb_query_colors_colors_length(reply.get()); ++i) {
        const std::array<uint8_t, 3> color{static_cast<uint8_t>(rgb[i].red >> 8),
                                           static_cast<uint8_t>(rgb[i].green >> 8),
                                           static_cast<uint8_t>(rgb[i].blue >> 8)};
        format.colors.push_back(color);
        for (size_t c = 0; c < 3; ++c) {
            auto& values = format.components[c].values;
            if (static_cast<size_t>(i) < values.size())
                values[static_cast<size_t>(i)] = color[c];
        }
    }
}

} // namespace ovalin
