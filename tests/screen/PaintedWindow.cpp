#include "PaintedWindow.h"

#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"
#include "support/Testing.h"

namespace ovalin {

namespace {

struct Visual {
    uint8_t depth;
    xcb_visualid_t id;
};

Visual visualFor(xcb_screen_t* screen, bool argb) {
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); argb && depth.rem; xcb_depth_next(&depth)) {
        for (auto it = xcb_depth_visuals_iterator(depth.data); it.rem && depth.data->depth == 32;
             xcb_visualtype_next(&it)) {
            if (it.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR)
                return {32, it.data->visual_id};
        }
    }
    return {screen->root_depth, screen->root_visual};
}

} // namespace

PaintedWindow::PaintedWindow(const Options& options)
    : c(xcb_connect(options.display.constData(), nullptr))
    , screen(xcb_connection_has_error(c) ? nullptr : xcb_setup_roots_iterator(xcb_get_setup(c)).data)
    , window(screen ? xcb_generate_id(c) : 0)
    , size(options.frame.size()) {
    if (!screen)
        throw std::runtime_error("no X server");
    const Visual visual = visualFor(screen, options.argb);
    const auto frame = options.frame;
    std::vector<uint32_t> values;
    uint32_t mask = XCB_CW_OVERRIDE_REDIRECT;
    if (options.inputOnly) {
        values = {1};
    } else {
        auto colormap = screen->default_colormap;
        if (options.argb) {
            colormap = xcb_generate_id(c);
            xcb_create_colormap(c, XCB_COLORMAP_ALLOC_NONE, colormap, screen->root, visual.id);
        }
        values = {paint(visual.depth, colormap, options.stripes), 0, options.overrideRedirect ? 1U : 0U, colormap};
        mask |= XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_COLORMAP;
    }
    xcb_create_window(c, options.inputOnly ? uint8_t{0} : visual.depth, window, screen->root,
                      static_cast<int16_t>(frame.x()), static_cast<int16_t>(frame.y()),
                      static_cast<uint16_t>(frame.width()), static_cast<uint16_t>(frame.height()),
                      static_cast<uint16_t>(options.borderWidth),
                      options.inputOnly ? XCB_WINDOW_CLASS_INPUT_ONLY : XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      options.inputOnly ? screen->root_visual : visual.id, mask, values.data());
    const QByteArray words = options.windowClass + '\0' + options.windowClass + '\0';
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        static_cast<uint32_t>(words.size()), words.constData());
    if (!options.type.isEmpty()) {
        const char* const names[] = {"_NET_WM_WINDOW_TYPE", options.type.constData()};
        const auto atoms = internAtoms(c, names);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atoms[0], XCB_ATOM_ATOM, 32, 1, &atoms[1]);
    }
    if (options.map)
        xcb_map_window(c, window);
    sync();
}

PaintedWindow::~PaintedWindow() { xcb_disconnect(c); }

xcb_pixmap_t PaintedWindow::paint(uint8_t depth, xcb_colormap_t colormap, const std::vector<QColor>& stripes) {
    const auto pixmap = xcb_generate_id(c);
    if (size.width() > 10000) // only refused, never painted
        return XCB_BACK_PIXMAP_NONE;
    xcb_create_pixmap(c, depth, pixmap, screen->root, static_cast<uint16_t>(size.width()),
                      static_cast<uint16_t>(size.height()));
    const auto gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, 0, nullptr);
    const int width = size.width() / static_cast<int>(stripes.size());
    for (size_t i = 0; i < stripes.size(); ++i) {
        const QColor& wanted = stripes[i];
        const XReply<xcb_alloc_color_reply_t> reply(xcb_alloc_color_reply(
            c,
            xcb_alloc_color(c, colormap, static_cast<uint16_t>(wanted.red() * 257),
                            static_cast<uint16_t>(wanted.green() * 257), static_cast<uint16_t>(wanted.blue() * 257)),
            nullptr));
        if (!reply)
            throw std::runtime_error("no colour");
        colors.emplace_back(reply->red >> 8, reply->green >> 8, reply->blue >> 8);
        const uint32_t pixel = reply->pixel | (depth == 32 ? 0xff000000U : 0U);
        xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &pixel);
        const xcb_rectangle_t stripe{static_cast<int16_t>(static_cast<int>(i) * width), 0, static_cast<uint16_t>(width),
                                     static_cast<uint16_t>(size.height())};
        xcb_poly_fill_rectangle(c, pixmap, gc, 1, &stripe);
    }
    return pixmap;
}

QPoint PaintedWindow::inStripe(size_t stripe, int y) const {
    const int width = size.width() / static_cast<int>(colors.size());
    return {static_cast<int>(stripe) * width + width / 2, y};
}

void PaintedWindow::raise() {
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(c, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    sync();
}

void PaintedWindow::sync() {
    const XReply<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

} // namespace ovalin
