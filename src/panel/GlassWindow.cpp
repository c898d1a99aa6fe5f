#include "GlassWindow.h"

#include "DirectKeys.h"
#include "Palette.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

namespace ovalin {

GlassWindow::GlassWindow(const QString& title, bool isComposited, Qt::WindowFlags more)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint | more)
    , composited(isComposited) {
    setWindowTitle(title);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setAttribute(Qt::WA_TranslucentBackground);
}

void GlassWindow::setComposited(bool isComposited) {
    if (composited == isComposited)
        return;
    composited = isComposited;
    shape();
    update();
}

void GlassWindow::openAt(QPoint corner) {
    deliverKeysDirectly();
    glass.capture(QRect(corner, size()));
    move(corner);
    winId();
    windowHandle()->installEventFilter(this);
    show();
}

void GlassWindow::prepareGlass() { glass.prepare(glassRadius, !composited); }

void GlassWindow::resizeGlass(const QRect& place) {
    if (isVisible())
        glass.extendTo(place);
    setGeometry(place);
}

// Once it was dragged away there are no grabbed pixels any more to stand outside the corners.
void GlassWindow::shape() {
    if (glass.isStale() && !composited)
        setMask(roundedMask(size(), glassRadius));
    else
        clearMask();
}

void GlassWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    glass.paint(painter, QRectF(rect()), glassRadius, !composited);
}

void GlassWindow::resizeEvent(QResizeEvent*) { shape(); }

void GlassWindow::mousePressEvent(QMouseEvent* event) { dragFrom = event->globalPosition().toPoint() - pos(); }

void GlassWindow::mouseMoveEvent(QMouseEvent* event) {
    const QPoint corner = event->globalPosition().toPoint() - dragFrom;
    if (!(event->buttons() & Qt::LeftButton) || corner == pos())
        return;
    glass.setStale();
    shape();
    move(corner);
    update();
}

bool GlassWindow::eventFilter(QObject* watched, QEvent* event) {
    // At the window, before any child takes it.
    if (watched == windowHandle() && event->type() == QEvent::MouseButtonPress) {
        raise();
        Q_EMIT pressed();
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ovalin
