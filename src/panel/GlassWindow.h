#pragma once

#include "Glass.h"

#include "platform/PanelHost.h"

#include <QWidget>

namespace ovalin {

/// What the capture panel and its cards share: a window of glass that no window manager decorates or activates, that is
/// moved by dragging its ground and comes to the front when it is pressed.
///
/// It is translucent in any case: without a compositing manager nobody looks at the transparency, and one may come.
class GlassWindow : public QWidget {
    Q_OBJECT
public:
    /// A compositing manager came or went.
    void compositedChanged();

    /// Grabs the backdrop and shows the window with its top left corner there (logical pixels).
    void openAt(QPoint corner);

    /// Paints the glass; after openAt() and before the event loop goes on.
    void prepareGlass();

    /// The first picture waits until showFrame(), since more of it is on its way: nothing is to be seen until then.
    /// Does nothing under a compositing manager, which would show the window unpainted.
    void holdFrame();
    void showFrame();

Q_SIGNALS:
    /// A press anywhere in it, at this place of it.
    void pressed(QPoint at);

protected:
    GlassWindow(const QString& title, PanelHost& host, Qt::WindowFlags more = {});

    PanelHost& host;

    /// Grows or shrinks it to this place, with the backdrop.
    void resizeGlass(const QRect& place);

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void shape();

    Glass glass;
    bool composited;
    QPoint dragFrom;
};

} // namespace ovalin
