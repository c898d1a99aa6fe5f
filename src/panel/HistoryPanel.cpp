#include "HistoryPanel.h"

#include "Brand.h"
#include "HistoryRow.h"
#include "Palette.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int INSET = 16, SPACING = 5, HEADER_SPACING = 12, CONTENT_WIDTH = Card::WIDTH - 2 * INSET;
constexpr int LEAST_HEIGHT = 90;
constexpr qsizetype MOST_ROWS = 8;

} // namespace

HistoryPanel::HistoryPanel(const QList<PastConversation>& conversations, bool isComposited)
    : Card(u"Past conversations"_s, isComposited) {
    auto* header = new Label(u"Past conversations"_s, 14, Palette::ink(), this);
    header->setFont(Brand::signature(14));
    header->setGeometry(INSET, INSET, CONTENT_WIDTH, QFontMetrics(header->font()).height());
    const int top = INSET + header->height() + HEADER_SPACING;
    setFixedSize(WIDTH, LEAST_HEIGHT);
    if (!conversations.isEmpty()) {
        addRows(conversations, top);
        return;
    }
    auto* note = new Label(u"No past conversations yet."_s, 12, Palette::muted(), this);
    note->setFont(Brand::font(12, QFont::Light));
    note->setGeometry(INSET, top, CONTENT_WIDTH, QFontMetrics(note->font()).height());
    setFixedHeight(std::max(LEAST_HEIGHT, top + note->height() + INSET));
}

void HistoryPanel::addRows(const QList<PastConversation>& conversations, int top) {
    const qsizetype listed = std::min(conversations.size(), MOST_ROWS);
    int bottom = top - SPACING;
    for (qsizetype i = 0; i < listed; ++i) {
        auto* row = new HistoryRow(conversations[i], CONTENT_WIDTH, this);
        row->move(INSET, bottom + SPACING);
        bottom += SPACING + row->height();
        connect(row, &HistoryRow::clicked, this, [this, row] { Q_EMIT rowTapped(row->id()); });
        shown.append(row);
        if (i + 1 < listed) {
            separators.append(bottom + SPACING);
            bottom += SPACING + 1;
        }
    }
    setFixedHeight(std::max(LEAST_HEIGHT, bottom + INSET));
}

bool HistoryPanel::handleKey(const QKeyEvent& event) {
    if (event.modifiers() & ~Qt::KeypadModifier)
        return false;
    const qsizetype at = shown.indexOf(selected);
    switch (event.key()) {
    case Qt::Key_Down:
        select(at + 1);
        return true;
    case Qt::Key_Up:
        select(at < 0 ? shown.size() - 1 : at - 1);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Without a row chosen on purpose, Return still belongs to the prompt.
        if (selected)
            Q_EMIT rowEntered(selected->id());
        return selected != nullptr;
    case Qt::Key_Escape:
        Q_EMIT dismissed();
        return true;
    default:
        return false;
    }
}

void HistoryPanel::select(qsizetype index) {
    if (shown.isEmpty())
        return;
    selected = shown[std::clamp<qsizetype>(index, 0, shown.size() - 1)];
    update();
    QAccessibleEvent focused(selected, QAccessible::Focus); // no window of ours has the focus: said by hand
    QAccessible::updateAccessibility(&focused);
}

void HistoryPanel::deselect() {
    selected = nullptr;
    update();
}

bool HistoryPanel::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return Card::eventFilter(watched, event);
}

void HistoryPanel::paintEvent(QPaintEvent* event) {
    Card::paintEvent(event);
    QPainter painter(this);
    for (const int y : separators)
        painter.fillRect(INSET, y, CONTENT_WIDTH, 1, Palette::colors().line);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const HistoryRow* row : shown) {
        const bool current = row == selected;
        if (!current && !row->underMouse() && !row->isDown())
            continue;
        painter.setPen(current ? QPen(Palette::accent(), 1) : QPen(Qt::NoPen));
        painter.setBrush(current || row->isDown() ? Palette::colors().lit : Palette::colors().hover);
        painter.drawRoundedRect(QRectF(row->ground()).adjusted(.5, .5, -.5, -.5), innerRadius, innerRadius);
    }
}

} // namespace ovalin
