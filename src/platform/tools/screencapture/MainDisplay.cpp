#include "MainDisplay.h"

#include "Failure.h"
#include "OwnPixels.h"
#include "PngFile.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

#include <xcb/shape.h>

namespace ovalin {

namespace {

/// The picture of the display, RGBA.
class Canvas {
public:
    explicit Canvas(const Rect& display)
        : area(display)
        , pixels(static_cast<size_t>(display.width) * static_cast<size_t>(display.height) * 4, 0) {}

    [[nodiscard]] uint8_t* at(int x, int y) {
        return pixels.data() +
               (static_cast<size_t>(y - area.y) * static_cast<size_t>(area.width) + static_cast<size_t>(x - area.x)) *
                   4;
    }

    /// Draws within `clips`, over what is there (root coordinates).
    void draw(Screen& screen, const Source& source, const std::vector<Rect>& clips) {
        forEachRow(screen, source, [&](int y, const uint8_t* rgba) {
            const Rect line{source.onScreen.x, source.onScreen.y + y, source.onScreen.width, 1};
            for (const Rect& clip : clips) {
                const Rect run = line.intersected(clip).intersected(area);
                if (!run.empty())
                    blend(at(run.x, run.y), rgba + static_cast<ptrdiff_t>(run.x - line.x) * 4, run.width);
            }
        });
    }

    void fillBlack(const std::vector<Rect>& rects) {
        for (const Rect& rect : rects) {
            for (int y = rect.y; y < rect.y + rect.height; ++y) {
                for (int x = rect.x; x < rect.x + rect.width; ++x)
                    std::memcpy(at(x, y), "\0\0\0\xff", 4);
            }
        }
    }

    const Rect area;

private:
    static void blend(uint8_t* to, const uint8_t* from, int count) {
        for (int i = 0; i < count; ++i, to += 4, from += 4) {
            const unsigned alpha = from[3];
            for (int c = 0; c < 3; ++c)
                to[c] = static_cast<uint8_t>((from[c] * alpha + to[c] * (255 - alpha) + 127) / 255);
            to[3] = 255;
        }
    }

    std::vector<uint8_t> pixels;
};

bool isOurs(const Screen& screen, const Window& window) {
    const std::string words = screen.classOf(window.id);
    for (const char* word = words.c_str(); word < words.c_str() + words.size(); word += std::strlen(word) + 1) {
        if (strcasecmp(word, "ovalin") == 0)
            return true;
    }
    return false;
}

/// The window's shape within `clips`.
std::vector<Rect> visibleShape(const Screen& screen, const Window& window, const std::vector<Rect>& clips) {
    std::vector<Rect> shape{window.inside};
    if (screen.shape) {
        const XReply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
            screen.get(), xcb_shape_get_rectangles(screen.get(), window.id, XCB_SHAPE_SK_BOUNDING), nullptr));
        if (reply) {
            shape.clear();
            const auto* r = xcb_shape_get_rectangles_rectangles(reply.get());
            for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i)
                shape.push_back(Rect{r[i].x, r[i].y, r[i].width, r[i].height}.moved(window.inside.x, window.inside.y));
        }
    }
    std::vector<Rect> visible;
    for (const Rect& part : shape) {
        for (const Rect& clip : clips) {
            if (const Rect both = part.intersected(clip); !both.empty())
                visible.push_back(both);
        }
    }
    return visible;
}

/// The wallpaper that a wallpaper setter left on the root, as one pixmap of the screen's size.
std::optional<Source> wallpaper(Screen& screen, const Rect& area) {
    const XReply<xcb_get_property_reply_t> property(xcb_get_property_reply(
        screen.get(),
        xcb_get_property(screen.get(), false, screen.root(), screen.atom("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP, 0, 1),
        nullptr));
    if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) < 4)
        return std::nullopt;
    const auto pixmap = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(property.get()));
    const XReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(screen.get(), xcb_get_geometry(screen.get(), pixmap), nullptr));
    const auto root = screen.window(screen.root());
    if (!geometry || !root || geometry->depth != root->depth || area.x + area.width > geometry->width ||
        area.y + area.height > geometry->height)
        return std::nullopt;
    return Source{XCB_NONE, pixmap, area, area, screen.format(*root)};
}

void write(Canvas& canvas, const std::string& path) {
    PngFile file(path, canvas.area.width, canvas.area.height, PngFile::Alpha::No);
    for (int y = 0; y < canvas.area.height; ++y)
        file.writeRow(canvas.at(canvas.area.x, canvas.area.y + y));
    file.finish();
}

struct Layer {
    Source source;
    std::vector<Rect> clips;
};

} // namespace

void captureMainDisplay(Screen& screen, const std::string& path) {
    Canvas canvas(screen.mainDisplay());
    std::optional<ServerGrab> grab(std::in_place, screen);
    std::vector<Window> others;
    std::vector<Rect> hidden; // by our own windows
    for (const Window& window : screen.stack()) {
        const Rect visible = window.outside().intersected(canvas.area);
        if (visible.empty())
            continue;
        if (isOurs(screen, window))
            hidden.push_back(visible);
        else
            others.push_back(window);
    }
    // A compositor draws shadows around our windows: then all of the picture is put together.
    if (screen.compositorRuns && !hidden.empty())
        hidden = {canvas.area};

    OwnPixels pixels(screen, *grab, hidden);
    const Source shown = pixels.ofRoot(canvas.area);
    std::vector<Layer> layers;
    for (const Window& window : others) {
        auto clips = visibleShape(screen, window, hidden);
        if (clips.empty())
            continue;
        try {
            layers.push_back({pixels.of(window), std::move(clips)});
        } catch (const Failure&) {
            // One odd window does not cost the picture.
        }
    }
    grab.reset();
    pixels.waitForRepaint();

    canvas.draw(screen, shown, {canvas.area});
    canvas.fillBlack(hidden);
    if (const auto background = hidden.empty() ? std::nullopt : wallpaper(screen, canvas.area))
        canvas.draw(screen, *background, hidden);
    for (const Layer& layer : layers)
        canvas.draw(screen, layer.source, layer.clips);
    write(canvas, path);
}

} // namespace ovalin
