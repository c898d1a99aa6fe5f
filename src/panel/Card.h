#pragma once

#include "GlassWindow.h"

namespace ovalin {

/// A small window of glass beside the capture panel. It never takes the keyboard.
class Card : public GlassWindow {
    Q_OBJECT
public:
    static constexpr int WIDTH = 340;

    Card(const QString& title, PanelHost& panelHost)
        : GlassWindow(title, panelHost, Qt::WindowDoesNotAcceptFocus) {}

    /// Grabs the backdrop and shows the card with its top left corner there (logical pixels).
    void openAt(QPoint corner) {
        GlassWindow::openAt(corner);
        prepareGlass();
    }
};

} // namespace ovalin
