#include "PointerProbe.h"

#include <QScopeGuard>

#include <algorithm>

namespace ovalin {

namespace {

/// One transparent pixel, stretched over an output, or over what docks leave of it.
struct Sheet {
    enum class Over { All, Rest };

    Sheet(const OutputConnection& connection, const OutputConnection::Output& theOutput, Over over)
        : output(theOutput)
        , surface(wl_compositor_create_surface(connection.compositor))
        , viewport(wp_viewporter_get_viewport(connection.viewporter, surface.get()))
        , layer(zwlr_layer_shell_v1_get_layer_surface(connection.layerShell, surface.get(), output.proxy,
                                                      ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "ovalin-pointer")) {
        static const zwlr_layer_surface_v1_listener listener = {
            [](void* self, zwlr_layer_surface_v1* from, uint32_t serial, uint32_t width, uint32_t height) {
                zwlr_layer_surface_v1_ack_configure(from, serial);
                static_cast<Sheet*>(self)->size = QSize(static_cast<int>(width), static_cast<int>(height));
            },
            [](void* self, zwlr_layer_surface_v1*) { static_cast<Sheet*>(self)->closed = true; },
        };
        zwlr_layer_surface_v1_add_listener(layer.get(), &listener, this);
        zwlr_layer_surface_v1_set_anchor(layer.get(),
                                         ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                                             ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
        zwlr_layer_surface_v1_set_exclusive_zone(layer.get(), over == Over::All ? -1 : 0);
        wl_surface_commit(surface.get());
    }
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

    void lay(wl_buffer* pixel) {
        wp_viewport_set_destination(viewport.get(), size.width(), size.height());
        wl_surface_attach(surface.get(), pixel, 0, 0);
        wl_surface_commit(surface.get());
    }

    [[nodiscard]] bool isKnown() const { return closed || !size.isEmpty(); }
    [[nodiscard]] bool usable() const { return !closed && !size.isEmpty(); }

    const OutputConnection::Output output;
    QSize size;
    bool closed = false;
    std::optional<QPoint> pointer; ///< where it came in

private:
    Owned<wl_surface> surface;
    Owned<wp_viewport> viewport;
    Owned<zwlr_layer_surface_v1> layer;
    friend class Pointers;
};

/// The pointers of all seats, and the sheets that they may come into.
class Pointers {
public:
    explicit Pointers(const OutputConnection& connection) {
        static const wl_pointer_listener listener = {
            [](void* self, wl_pointer*, uint32_t, wl_surface* into, wl_fixed_t x, wl_fixed_t y) {
                for (Sheet* sheet : static_cast<Pointers*>(self)->sheets) {
                    if (sheet->surface.get() == into)
                        sheet->pointer = QPoint(wl_fixed_to_int(x), wl_fixed_to_int(y));
                }
            },
            [](void*, wl_pointer*, uint32_t, wl_surface*) {},
            [](void*, wl_pointer*, uint32_t, wl_fixed_t, wl_fixed_t) {},
            [](void*, wl_pointer*, uint32_t, uint32_t, uint32_t, uint32_t) {},
            [](void*, wl_pointer*, uint32_t, uint32_t, wl_fixed_t) {},
            {},
            {},
            {},
            {},
            {},
        };
        for (const auto& seat : connection.seats()) {
            if (!seat.hasPointer)
                continue;
            pointers.emplace_back(wl_seat_get_pointer(seat.proxy));
            wl_pointer_add_listener(pointers.back().get(), &listener, this);
        }
    }

    std::vector<Sheet*> sheets;

private:
    std::vector<Owned<wl_pointer>> pointers;
};

using Sheets = std::vector<std::unique_ptr<Sheet>>;

bool allKnown(const Sheets& sheets) {
    return std::all_of(sheets.begin(), sheets.end(), [](const auto& sheet) { return sheet->isKnown(); });
}

} // namespace

QRect freeArea(QSize all, QSize rest, QPoint pointer, std::optional<QPoint> inRest) {
    const QSize taken = all - rest;
    // A dock that has the pointer is at the near edge.
    const QPoint from = inRest ? pointer - *inRest
                               : QPoint(pointer.x() < taken.width() ? taken.width() : 0,
                                        pointer.y() < taken.height() ? taken.height() : 0);
    return QRect(from, rest) & QRect(QPoint(), all);
}

std::optional<PointerPlace> findPointer(OutputConnection& connection, Deadline deadline) {
    const auto& seats = connection.seats();
    if (std::none_of(seats.begin(), seats.end(), [](const auto& seat) { return seat.hasPointer; }))
        return {};
    if (!connection.compositor || !connection.viewporter || !connection.layerShell || connection.outputs().empty())
        return {};
    const auto pixel = connection.makeBuffer({1, 1}, 4, WL_SHM_FORMAT_ARGB8888);
    if (!pixel.proxy)
        return {};
    const auto gone = qScopeGuard([&] { connection.flush(); }); // a sheet that stays takes all clicks
    Pointers pointers(connection);
    Sheets all, rest;
    for (const auto& output : connection.outputs()) {
        all.push_back(std::make_unique<Sheet>(connection, output, Sheet::Over::All));
        rest.push_back(std::make_unique<Sheet>(connection, output, Sheet::Over::Rest));
        pointers.sheets.push_back(all.back().get());
        pointers.sheets.push_back(rest.back().get());
    }
    if (!connection.waitUntil(deadline, [&] { return allKnown(all) && allKnown(rest); }))
        return {};
    for (const auto& sheet : all) {
        if (sheet->usable())
            sheet->lay(pixel.proxy.get());
    }
    const auto entered = [](const auto& sheet) { return sheet->pointer.has_value(); };
    if (!connection.waitUntil(deadline, [&] { return std::any_of(all.begin(), all.end(), entered); }))
        return {};
    const auto found = static_cast<size_t>(std::find_if(all.begin(), all.end(), entered) - all.begin());
    PointerPlace place{all[found]->output.name, *all[found]->pointer, QRect(QPoint(), all[found]->size)};
    if (rest[found]->usable() && rest[found]->size != all[found]->size) {
        // Which of two sheets lies above the other is the compositor's business, so they lie there one after the other.
        const QSize size = all[found]->size;
        pointers.sheets = {rest[found].get()};
        all.clear();
        rest[found]->lay(pixel.proxy.get());
        bool laid = false;
        const auto mark = connection.mark(laid);
        connection.waitUntil(deadline, [&] { return entered(rest[found]) || laid; });
        place.free = freeArea(size, rest[found]->size, place.at, rest[found]->pointer);
    }
    return place;
}

} // namespace ovalin
