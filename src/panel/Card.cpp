#include "Card.h"

#include "Palette.h"

#include <QMouseEvent>
#include <QPainter>

namespace ovalin {

Card::Card(const QString& title, bool isComposited)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint |
                           Qt::WindowDoesNotAcceptFocus)
    , composited(isComposited) {
    setWindowTitle(title);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setAttribute(composited ? Qt::WA_TranslucentBackground : Qt::WA_OpaquePaintEvent);
}

void Card::openAt(QPoint corner) {
    glass.capture(QRect(corner, size()));
    glass.prepare(glassRadius, !composited);
    move(corner);
    show();
}

void Card::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    glass.paint(painter, QRectF(rect()), glassRadius, !composited);
}

void Card::mousePressEvent(QMouseEvent* event) { dragFrom = event->globalPosition().toPoint() - pos(); }

void Card::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton))
        return;
    glass.setStale();
    if (!composited)
        setMask(roundedMask(size(), glassRadius)); // no grabbed pixels any more to stand outside the corners
    move(event->globalPosition().toPoint() - dragFrom);
    update();
}

} // namespace ovalin
