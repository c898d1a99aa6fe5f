#pragma once

#include "Owned.h"

#include <QPointer>
#include <QRect>
#include <QWidget>

#include <functional>

namespace ovalin {

/// The layer shell on Qt's own connection, with a queue of its own for what has to be known before the program goes on.
class QtLayerShell {
public:
    QtLayerShell();
    ~QtLayerShell();
    QtLayerShell(const QtLayerShell&) = delete;
    QtLayerShell& operator=(const QtLayerShell&) = delete;

    wl_display* display = nullptr; ///< null: Qt does not run on Wayland
    wl_event_queue* queue = nullptr;
    zwlr_layer_shell_v1* proxy = nullptr; ///< null: the compositor has none
};

/// A window of Qt's that lies on the layer over all others, at its own place there. Qt gives it no role of its own
/// (QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT). To be gone before its window is hidden. Main thread.
class LayerSurface {
public:
    /// Waits for the compositor's first configure. The window must not show before isConfigured(): that would be a
    /// protocol error. `output`: the one that the window's place lies on, and `frame` its own.
    LayerSurface(const QtLayerShell& shell, QWidget& window, wl_output* output, const QRect& frame, bool keyboard);
    ~LayerSurface();
    LayerSurface(const LayerSurface&) = delete;
    LayerSurface& operator=(const LayerSurface&) = delete;

    [[nodiscard]] bool isConfigured() const { return configured; }

    /// The keyboard is this window's alone, or not.
    void setKeyboard(bool exclusive);
    void place(const QRect& wanted);
    /// No button is held any more.
    void released();

    /// The compositor has configured it, after the wait was over.
    std::function<void()> configuredLate;
    /// The compositor has taken it away: its output is gone.
    std::function<void()> closed;

private:
    void move();
    void moved();
    void setMargins() const;
    void commit() const;

    const QtLayerShell& shell;
    QWidget& window;
    wl_surface* const surface;
    const QRect frame;
    QRect wanted;
    bool configured = false;
    bool waiting = true;
    bool keyboard;
    bool moving = false; // what was asked last is not there yet
    QPoint asked;
    Owned<wl_callback> movedMark;
    Owned<zwlr_layer_surface_v1> layer;
};

/// What Qt knows about a window, before it is shown: its surface.
[[nodiscard]] wl_surface* surfaceOf(QWidget& window);

} // namespace ovalin
