#pragma once

#include <QAbstractScrollArea>
#include <QScrollBar>

namespace ovalin {

/// A vertical scroll bar that is only a thin handle, and nothing at all while everything shows.
class SlimScrollBar final : public QScrollBar {
    Q_OBJECT
public:
    static constexpr int WIDTH = 10;

    explicit SlimScrollBar(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    [[nodiscard]] QRectF handle() const;

    double grabbedAt = -1; ///< where in the handle it is held; negative: it is not
};

/// What the card's text views share: no frame and no ground of their own, the card's colours, this scroll bar.
void dressTextView(QAbstractScrollArea& view);

} // namespace ovalin
