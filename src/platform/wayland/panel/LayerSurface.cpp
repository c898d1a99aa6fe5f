#include "LayerSurface.h"

#include "base/EventThread.h"
#include "base/Log.h"

#include <QGuiApplication>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <chrono>
#include <cstring>
#include <utility>

#include <poll.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds LONGEST_CONFIGURE{200};
constexpr int WITHIN_REACH = 60; // of a window that is dragged over the edge of its output

QPlatformNativeInterface* native() { return QGuiApplication::platformNativeInterface(); }

/// These tell a held pointer's place from where the window was when the button went down.
bool tellsFromPress() {
    static const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
    return qEnvironmentVariableIsSet("SWAYSOCK") || desktop == "sway" || desktop == "river";
}

/// Qt reads the same connection in a thread of its own, so it is read together.
bool waitUntil(const QtLayerShell& shell, const bool& done) {
    const Deadline deadline = deadlineIn(LONGEST_CONFIGURE);
    while (!done) {
        if (wl_display_prepare_read_queue(shell.display, shell.queue) != 0) {
            if (wl_display_dispatch_queue_pending(shell.display, shell.queue) < 0)
                return false;
            continue;
        }
        wl_display_flush(shell.display);
        pollfd ready{wl_display_get_fd(shell.display), POLLIN, 0};
        if (::poll(&ready, 1, pollTimeout(deadline)) <= 0) {
            wl_display_cancel_read(shell.display);
            return false;
        }
        if (wl_display_read_events(shell.display) < 0 ||
            wl_display_dispatch_queue_pending(shell.display, shell.queue) < 0)
            return false;
    }
    return true;
}

} // namespace

wl_surface* surfaceOf(QWidget& window) {
    return static_cast<wl_surface*>(native()->nativeResourceForWindow("surface", window.windowHandle()));
}

QtLayerShell::QtLayerShell() {
    if (!QGuiApplication::platformName().startsWith("wayland"_L1))
        return;
    display = static_cast<wl_display*>(native()->nativeResourceForIntegration("wl_display"));
    if (!display)
        return;
    queue = wl_display_create_queue(display);
    auto* const onQueue = static_cast<wl_display*>(wl_proxy_create_wrapper(display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(onQueue), queue);
    const Owned<wl_registry> registry(wl_display_get_registry(onQueue));
    wl_proxy_wrapper_destroy(onQueue);
    static const wl_registry_listener listener = {
        [](void* self, wl_registry* from, uint32_t global, const char* interface, uint32_t) {
            if (std::strcmp(interface, zwlr_layer_shell_v1_interface.name) == 0)
                static_cast<QtLayerShell*>(self)->proxy = static_cast<zwlr_layer_shell_v1*>(
                    wl_registry_bind(from, global, &zwlr_layer_shell_v1_interface, 1));
        },
        [](void*, wl_registry*, uint32_t) {},
    };
    wl_registry_add_listener(registry.get(), &listener, this);
    wl_display_roundtrip_queue(display, queue);
}

QtLayerShell::~QtLayerShell() {
    if (proxy) // its first version cannot be told of its end
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(proxy));
    if (queue)
        wl_event_queue_destroy(queue);
}

LayerSurface::LayerSurface(const QtLayerShell& theShell, QWidget& theWindow, wl_output* output,
                           const QRect& outputFrame, bool takesKeyboard)
    : shell(theShell)
    , window(theWindow)
    , surface(surfaceOf(window))
    , frame(outputFrame)
    , wanted(window.geometry())
    , keyboard(takesKeyboard)
    , asked(wanted.topLeft())
    , layer(zwlr_layer_shell_v1_get_layer_surface(shell.proxy, surface, output, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY,
                                                  "ovalin")) {
    static const zwlr_layer_surface_v1_listener listener = {
        [](void* data, zwlr_layer_surface_v1* from, uint32_t serial, uint32_t, uint32_t) {
            auto* const self = static_cast<LayerSurface*>(data);
            zwlr_layer_surface_v1_ack_configure(from, serial);
            if (!std::exchange(self->configured, true) && !self->waiting && self->configuredLate)
                self->configuredLate();
        },
        [](void* data, zwlr_layer_surface_v1*) {
            auto* const self = static_cast<LayerSurface*>(data);
            if (self->closed)
                self->closed();
        },
    };
    zwlr_layer_surface_v1_add_listener(layer.get(), &listener, this);
    zwlr_layer_surface_v1_set_size(layer.get(), static_cast<uint32_t>(wanted.width()),
                                   static_cast<uint32_t>(wanted.height()));
    zwlr_layer_surface_v1_set_anchor(layer.get(), ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT);
    zwlr_layer_surface_v1_set_exclusive_zone(layer.get(), -1); // docks push it nowhere
    zwlr_layer_surface_v1_set_keyboard_interactivity(layer.get(), keyboard);
    setMargins();
    commit();
    if (!waitUntil(shell, configured))
        logLine(u"Ovalin: the compositor gives the panel no place yet"_s);
    waiting = false;
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(layer.get()), nullptr); // Qt's dispatching serves it from here on
}

LayerSurface::~LayerSurface() = default;

void LayerSurface::setMargins() const {
    zwlr_layer_surface_v1_set_margin(layer.get(), asked.y() - frame.y(), 0, 0, asked.x() - frame.x());
}

void LayerSurface::commit() const {
    wl_surface_commit(surface);
    wl_display_flush(shell.display);
}

void LayerSurface::setKeyboard(bool exclusive) {
    if (std::exchange(keyboard, exclusive) == exclusive)
        return;
    zwlr_layer_surface_v1_set_keyboard_interactivity(layer.get(), exclusive);
    commit();
}

void LayerSurface::place(const QRect& place) {
    const QSize before = window.size();
    // An output shows no more of it than lies there, so some of it is to stay in reach.
    const QRect reach = frame.adjusted(WITHIN_REACH - place.width(), 0, -WITHIN_REACH, -WITHIN_REACH);
    wanted = QRect({std::clamp(place.x(), reach.left(), std::max(reach.left(), reach.right())),
                    std::clamp(place.y(), reach.top(), std::max(reach.top(), reach.bottom()))},
                   place.size());
    if (wanted.size() == before) {
        if (!moving)
            move();
        return;
    }
    // What is set here counts from the next commit on, which is that of the new picture.
    zwlr_layer_surface_v1_set_size(layer.get(), static_cast<uint32_t>(wanted.width()),
                                   static_cast<uint32_t>(wanted.height()));
    asked = wanted.topLeft();
    setMargins();
    window.setGeometry(wanted);
}

// Positions of the pointer are told relative to the window. Qt is to know its new place only when they are told from
// there: once the compositor has moved it, or, where that goes by the place of the press, when the button is up.
void LayerSurface::move() {
    if (wanted.topLeft() == asked)
        return;
    static const wl_callback_listener listener = {
        [](void* self, wl_callback*, uint32_t) { static_cast<LayerSurface*>(self)->moved(); }};
    moving = true;
    asked = wanted.topLeft();
    setMargins();
    commit();
    movedMark.reset(wl_display_sync(shell.display));
    wl_callback_add_listener(movedMark.get(), &listener, this);
    wl_display_flush(shell.display);
}

void LayerSurface::moved() {
    movedMark.reset();
    moving = false;
    if (!tellsFromPress() || QGuiApplication::mouseButtons() == Qt::NoButton)
        window.move(asked);
    move();
}

void LayerSurface::released() {
    if (!moving)
        window.move(asked);
}

} // namespace ovalin
