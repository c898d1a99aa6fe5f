#include "SlimScrollBar.h"

#include "Palette.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr double LEAST_HANDLE = 24, THICKNESS = 5;

} // namespace

SlimScrollBar::SlimScrollBar(QWidget* parent)
    : QScrollBar(Qt::Vertical, parent) {
    setFixedWidth(WIDTH);
    setAccessibleName(u"Scroll"_s);
}

QSize SlimScrollBar::sizeHint() const { return {WIDTH, 0}; }

QRectF SlimScrollBar::handle() const {
    const double range = maximum() - minimum();
    if (range <= 0)
        return {};
    const double length = std::max(LEAST_HANDLE, height() * pageStep() / (range + pageStep()));
    return {(WIDTH - THICKNESS) / 2, (height() - length) * (value() - minimum()) / range, THICKNESS, length};
}

void SlimScrollBar::paintEvent(QPaintEvent*) {
    if (handle().isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(grabbedAt >= 0 ? Palette::ink() : Palette::colors().handle);
    painter.drawRoundedRect(handle().adjusted(0, 2, 0, -2), THICKNESS / 2, THICKNESS / 2);
}

void SlimScrollBar::mousePressEvent(QMouseEvent* event) {
    const QRectF held = handle();
    if (event->button() != Qt::LeftButton || held.isEmpty())
        return;
    const double y = event->position().y();
    if (y < held.top())
        triggerAction(SliderPageStepSub);
    else if (y > held.bottom())
        triggerAction(SliderPageStepAdd);
    else
        grabbedAt = y - held.top();
    update();
}

void SlimScrollBar::mouseMoveEvent(QMouseEvent* event) {
    const double way = height() - handle().height();
    if (grabbedAt < 0 || way <= 0)
        return;
    setValue(minimum() +
             static_cast<int>(std::lround((event->position().y() - grabbedAt) / way * (maximum() - minimum()))));
}

void SlimScrollBar::mouseReleaseEvent(QMouseEvent*) {
    grabbedAt = -1;
    update();
}

void dressTextView(QAbstractScrollArea& view) {
    view.setFrameShape(QFrame::NoFrame);
    view.setAcceptDrops(false);
    view.viewport()->setAutoFillBackground(false);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBar(new SlimScrollBar(&view));
    QPalette colors = view.palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, Palette::body());
    colors.setColor(QPalette::Highlight, Palette::colors().highlight);
    colors.setColor(QPalette::HighlightedText, Palette::ink());
    view.setPalette(colors);
}

} // namespace ovalin
