#include "ListRow.h"

#include "Brand.h"
#include "Palette.h"

#include "base/Text.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int HEIGHT = 26, NOTE_HEIGHT = 16;
constexpr qsizetype LONGEST_LINE = 500; // user-perceived characters; a tool tip shows what the row cuts
const QString BULLET = u"● "_s;
const QString REALLY = u"remove it for good? once more"_s;

QFont titleFont() { return Brand::font(12, QFont::Normal); }
QFont smallFont() { return Brand::font(10, QFont::Light); }

// Each text keeps its own direction: a Hebrew title ends, and is cut, at its left, and leaves the age where it is.
void drawLine(QPainter& painter, QRectF place, const QString& text) {
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

} // namespace

ListRow::ListRow(const ListItem& item, int width, QWidget* parent)
    : FlushButton(QString(), QString(), parent) {
    setFocusPolicy(Qt::NoFocus); // the arrow keys walk the list
    setFixedSize(width, item.note.isEmpty() ? HEIGHT : HEIGHT + NOTE_HEIGHT);
    const auto repaintGround = [this] { parentWidget()->update(ground()); };
    connect(this, &ListRow::pressed, this, repaintGround);
    connect(this, &ListRow::released, this, repaintGround);
    if (item.removable) {
        remover = new GlyphButton(GlyphButton::Glyph::Remove, u"Remove"_s, u"Remove (Delete)"_s, this);
        remover->setFocusPolicy(Qt::NoFocus);
        remover->move(width - remover->width(), (HEIGHT - remover->height()) / 2);
        remover->hide();
        connect(remover, &GlyphButton::clicked, this, &ListRow::removeTapped);
    }
    setItem(item);
}

void ListRow::setItem(const ListItem& item) {
    shown = item;
    for (QString* text : {&shown.title, &shown.note, &shown.age}) // of agents and other tools
        *text = onOneLine(*text, LONGEST_LINE);
    QString name = shown.title;
    for (const QString& part : {shown.note, shown.age})
        name += part.isEmpty() ? QString() : u", "_s + part;
    setAccessibleName(name);
    setAccessibleDescription(name); // else Qt gives the tool tip, with its tags
    layOut();
    update();
}

void ListRow::layOut() {
    const QFontMetrics titleMetrics(titleFont()), smallMetrics(smallFont());
    const int gap = smallMetrics.horizontalAdvance(u"   "_s);
    const QString& age = asking ? REALLY : shown.age;
    const int room = width() - gap - smallMetrics.horizontalAdvance(age) - (remover ? remover->width() : 0);
    cutTitle = titleMetrics.elidedText(shown.title, Qt::ElideRight, room);
    ageAt = titleMetrics.horizontalAdvance(cutTitle) + gap;
    const int bullet = shown.lit ? smallMetrics.horizontalAdvance(BULLET) : 0;
    cutNote = smallMetrics.elidedText(shown.note, Qt::ElideRight, width() - bullet);
    const bool cut = cutTitle != shown.title || cutNote != shown.note;
    setToolTip(!cut                   ? QString()
               : shown.note.isEmpty() ? plainToolTip(shown.title)
                                      : plainToolTip(shown.title + u" — "_s + shown.note));
}

void ListRow::setSelected(bool isSelected) {
    selected = isSelected;
    if (!selected)
        stopAsking();
    showRemover();
}

void ListRow::askToRemove() {
    asking = true;
    layOut();
    update();
    setAccessibleDescription(REALLY);
}

void ListRow::stopAsking() {
    if (!std::exchange(asking, false))
        return;
    setAccessibleDescription({});
    layOut();
    update();
}

void ListRow::showRemover() {
    if (remover)
        remover->setVisible(selected || underMouse());
}

void ListRow::enterEvent(QEnterEvent*) {
    showRemover();
    parentWidget()->update(ground());
}

void ListRow::leaveEvent(QEvent*) {
    if (!selected)
        stopAsking();
    showRemover();
    parentWidget()->update(ground());
}

void ListRow::paintFace(QPainter& painter, QRectF face) {
    const QRectF first(face.x(), face.y(), face.width(), HEIGHT);
    painter.setFont(titleFont());
    painter.setPen(Palette::ink());
    drawLine(painter, first, cutTitle);
    painter.setFont(smallFont());
    const QColor quiet = Palette::muted();
    painter.setPen(asking ? Palette::ink() : quiet);
    drawLine(painter, first.adjusted(ageAt, 0, 0, 0), asking ? REALLY : shown.age);
    QRectF second(face.x(), face.y() + HEIGHT - 4, face.width(), NOTE_HEIGHT);
    if (shown.lit) {
        painter.setPen(Palette::accent());
        drawLine(painter, second, BULLET);
        second.adjust(QFontMetricsF(smallFont()).horizontalAdvance(BULLET), 0, 0, 0);
    }
    painter.setPen(quiet);
    drawLine(painter, second, cutNote);
}

} // namespace ovalin
