#pragma once

// The panel on Wayland, how it hangs together:
//
//   LayerPanels       what the panel and its cards ask for (PanelHost)
//    ├ LayerSurface     one window of Qt's as a layer surface: its place, its keyboard, growing, being dragged
//    ├ PopupAdoption    menus and tool tips, which would stay invisible beside such a window
//    ├ PointerProbe     where the pointer is, and what docks leave free
//    └ ScreenPicture    what lies behind the panel
//   OutputConnection  our own connection, for the last two
//   LayerHold         the keyboard (KeyboardHold)
//   WaylandPrimaryGuard  keeps Qt from PRIMARY altogether
//
// Qt 6.4 has neither public nor packaged private headers for surfaces of another role; a window that bypasses the
// window manager has none yet, and so can be given one here.

#include "LayerSurface.h"
#include "PopupAdoption.h"
#include "ScreenPicture.h"
#include "platform/PanelHost.h"

#include <QHash>
#include <QObject>

#include <chrono>
#include <map>
#include <memory>

namespace ovalin {

/// To be called before QApplication. `layers`: lets Qt's windows be made layer surfaces; does nothing to others.
void prepareForWayland(bool layers);

/// The panel as layer surfaces (zwlr_layer_shell_v1) over everything, on Qt's connection.
class LayerPanels final : public QObject, public PanelHost {
public:
    LayerPanels();
    ~LayerPanels() override;

    /// Whether the compositor has what this is made of; else nothing may be opened.
    [[nodiscard]] bool works() const { return shell.proxy; }
    /// Whether there are pictures of the outputs.
    [[nodiscard]] bool seesOutputs() const { return connection.screencopy; }

    /// Takes a picture of the outputs, which is there with their next frame, then looks for the pointer and what docks
    /// leave free beside it; 40 and 50 ms at most. The middle of the main screen when the pointer is not to be found.
    /// screens() and backdrop() tell of that afterwards.
    [[nodiscard]] QPoint pointer() override;
    [[nodiscard]] std::vector<ScreenArea> screens() override;
    [[nodiscard]] bool composited() override { return true; }
    [[nodiscard]] QImage backdrop(const QRect& area) override;
    /// A window that takes the focus has the keyboard from then on.
    void open(QWidget& window) override;
    /// Moving takes place a round trip later.
    void place(QWidget& window, const QRect& place) override;

    /// Gives an open window the keyboard, all of it, or gives it back to the application below.
    void setKeyboard(const QWindow& window, bool exclusive);

    /// Called by pointer() with what all outputs show, as far as it was there in time; not while a panel is open.
    std::function<void(std::vector<ShownOutput>)> pictured;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] std::vector<ShownOutput> takePictures();

    /// What an output showed before the panel came.
    struct Seen {
        QRect output;
        QImage picture;
        std::chrono::steady_clock::time_point at;
    };
    void lost(QWidget& window);

    QtLayerShell shell;
    OutputConnection connection;
    QHash<QString, QRect> freeAreas; // by output, in its own pixels
    Seen seen;
    std::map<const QWindow*, std::unique_ptr<LayerSurface>> layers;
    PopupAdoption popups;
};

} // namespace ovalin
