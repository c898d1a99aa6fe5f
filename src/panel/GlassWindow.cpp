#include "GlassWindow.h"

#include "DirectKeys.h"
#include "Palette.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

#include <utility>

namespace ovalin {

GlassWindow::GlassWindow(const QString& title, PanelHost& theHost, Qt::WindowFlags more)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint | more)
    , host(theHost)
    , composited(host.composited()) {
    setWindowTitle(title);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setAttribute(Qt::WA_TranslucentBackground);
}

void GlassWindow::compositedChanged() {
    const bool before = std::exchange(composited, host.composited());
    if (composited == before)
        return;
    shape();
    update();
}

void GlassWindow::openAt(QPoint corner) {
    deliverKeysDirectly();
    composited = host.composited(); // it may have been made long before
    const QRect place(corner, size());
    glass.setBackdrop(place, host.backdrop(place));
    move(corner);
    winId();
    windowHandle()->installEventFilter(this);
    host.open(*this);
}

void GlassWindow::holdFrame() {
    if (!composited)
        setUpdatesEnabled(false);
}

void GlassWindow::showFrame() {
    if (updatesEnabled())
        return;
    setUpdatesEnabled(true);
    repaint(); // update() would wait for a request that Qt has dropped meanwhile
}

void GlassWindow::prepareGlass() { glass.prepare(glassRadius, !composited); }

void GlassWindow::resizeGlass(const QRect& place) {
    if (!isVisible()) {
        setGeometry(place);
        return;
    }
    glass.extendTo(place, host);
    host.place(*this, place);
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
    host.place(*this, QRect(corner, size()));
    update();
}

bool GlassWindow::eventFilter(QObject* watched, QEvent* event) {
    // At the window, before any child takes it.
    if (watched == windowHandle() && event->type() == QEvent::MouseButtonPress) {
        raise();
        Q_EMIT pressed(static_cast<QMouseEvent*>(event)->position().toPoint());
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ovalin
