#include "HistoryRow.h"

#include "Brand.h"
#include "Palette.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QFont titleFont() { return Brand::font(12, QFont::Normal); }
QFont ageFont() { return Brand::font(10, QFont::Light); }

} // namespace

HistoryRow::HistoryRow(const PastConversation& conversation, int width, QWidget* parent)
    : FlushButton(QString(), QString(), parent)
    , identifier(conversation.id)
    , age(conversation.age + (conversation.interrupted ? u" · unfinished"_s : QString())) {
    const QString& title = conversation.title;
    setAccessibleName(age.isEmpty() ? title : title + u", "_s + age);
    setFixedSize(width, HEIGHT);
    const QFontMetrics titleMetrics(titleFont()), ageMetrics(ageFont());
    const int gap = ageMetrics.horizontalAdvance(u"   "_s);
    shownTitle = titleMetrics.elidedText(title, Qt::ElideRight, width - gap - ageMetrics.horizontalAdvance(age));
    ageAt = titleMetrics.horizontalAdvance(shownTitle) + gap;
    if (shownTitle != title)
        setToolTip(plainToolTip(title));
    const auto repaintGround = [this] { parentWidget()->update(ground()); };
    connect(this, &HistoryRow::pressed, this, repaintGround);
    connect(this, &HistoryRow::released, this, repaintGround);
}

void HistoryRow::enterEvent(QEnterEvent*) { parentWidget()->update(ground()); }
void HistoryRow::leaveEvent(QEvent*) { parentWidget()->update(ground()); }

void HistoryRow::paintFace(QPainter& painter, QRectF face) {
    painter.setFont(titleFont());
    painter.setPen(Palette::ink());
    // Each text keeps its own direction: a Hebrew title ends, and is cut, at its left, and leaves the age where it is.
    painter.setLayoutDirection(shownTitle.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.drawText(face, Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter | Qt::TextSingleLine, shownTitle);
    painter.setFont(ageFont());
    painter.setLayoutDirection(Qt::LeftToRight);
    painter.setPen(Palette::muted());
    painter.drawText(face.adjusted(ageAt, 0, 0, 0), Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter, age);
}

} // namespace ovalin
