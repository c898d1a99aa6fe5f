#pragma once

#include "Glass.h"

#include <QWidget>

namespace ovalin {

/// A small window of glass beside the capture panel. It never takes the keyboard, stays above, and is moved by dragging
/// its ground.
class Card : public QWidget {
    Q_OBJECT
public:
    static constexpr int WIDTH = 340;

    Card(const QString& title, bool composited);

    /// Grabs the backdrop and shows the card with its top left corner there (logical pixels).
    void openAt(QPoint corner);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    Glass glass;
    const bool composited;
    QPoint dragFrom;
};

} // namespace ovalin
