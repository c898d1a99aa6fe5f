#include "ModeControl.h"

#include "Brand.h"
#include "Palette.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace ovalin {

ModeSegment::ModeSegment(const QString& title, const QString& toolTip, QWidget* parent)
    : FlushButton(title, toolTip, parent) {
    setText(title);
    setFont(Brand::font(13, QFont::Medium));
    setFixedSize(56, 22);
    setCheckable(true);
}

void ModeSegment::setSelected(bool isSelected) {
    selected = isSelected;
    setChecked(isSelected);
    update();
}

qreal ModeSegment::cornerRadius() const { return innerRadius - 1; }

void ModeSegment::paintFace(QPainter& painter, QRectF face) {
    if (selected || underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(selected ? Palette::amethyst() : Palette::colors().hover);
        painter.drawRoundedRect(face, cornerRadius(), cornerRadius());
    }
    painter.setPen(selected ? Palette::onAmethyst() : Palette::body());
    painter.drawText(face, Qt::AlignCenter, text());
}

ModeControl::ModeControl(QWidget* parent)
    : QWidget(parent)
    , modeSegDo(new ModeSegment(u"Do"_s, u"Route it: Torvi does the task, result lands on the Tasks page"_s, this))
    , modeSegAsk(new ModeSegment(u"Ask"_s, u"Chat: a live answer about what's on screen"_s, this)) {
    modeSegDo->move(1, 1);
    modeSegAsk->move(1 + 56 + 2, 1);
    setFixedSize(1 + 56 + 2 + 56 + 1, 24);
    setAccessibleName(u"Mode"_s);
}

void ModeControl::showMode(bool ask) {
    modeSegDo->setSelected(!ask);
    modeSegAsk->setSelected(ask);
}

void ModeControl::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Palette::colors().outline);
    painter.setBrush(Palette::fillSoft());
    painter.drawRoundedRect(QRectF(rect()).adjusted(.5, .5, -.5, -.5), innerRadius, innerRadius);
}

} // namespace ovalin
