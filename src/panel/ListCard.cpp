#include "ListCard.h"

#include "Brand.h"
#include "CapturePanel.h"
#include "CardKeys.h"
#include "Palette.h"
#include "SearchField.h"
#include "SlimScrollBar.h"

#include "base/Text.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int SPACING = 5, HEADER_SPACING = 12, LEAST_HEIGHT = 90, SEARCH_WIDTH = 128;
constexpr qsizetype PAGE = 8; // rows
constexpr auto A_PAUSE = std::chrono::milliseconds(700);
constexpr qsizetype LONGEST_BELOW = 300; // user-perceived characters
constexpr int OVERHANG = ListRow::OVERHANG;

} // namespace

/// What is scrolled: the rows, what separates them, and the ground of those that react.
class ListCard::Page final : public QWidget {
public:
    explicit Page(ListCard& theCard)
        : card(theCard)
        , below(new Label(QString(), 10, Palette::muted(), this)) {}

    void stack(const QString& last) {
        separators.clear();
        int bottom = -SPACING;
        for (ListRow* row : card.shown) {
            if (bottom > 0) {
                separators.append(bottom + SPACING);
                bottom += SPACING + 1;
            }
            row->move(OVERHANG, bottom + SPACING);
            row->show();
            bottom += SPACING + row->height();
        }
        below->setText(onOneLine(last, LONGEST_BELOW));
        below->setVisible(!last.isEmpty());
        if (!last.isEmpty()) {
            below->setGeometry(OVERHANG, bottom + 2 * SPACING, CONTENT_WIDTH, below->fontMetrics().height());
            bottom = below->geometry().bottom() + 1;
        }
        setFixedSize(CONTENT_WIDTH + 2 * OVERHANG, std::max(bottom, 0));
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        for (const int y : separators)
            painter.fillRect(OVERHANG, y, CONTENT_WIDTH, 1, Palette::colors().line);
        painter.setRenderHint(QPainter::Antialiasing);
        for (const ListRow* row : card.shown) {
            const bool current = row == card.selected;
            if (!current && !row->underMouse() && !row->isDown())
                continue;
            painter.setPen(current ? QPen(Palette::accent(), 1) : QPen(Qt::NoPen));
            painter.setBrush(current || row->isDown() ? Palette::colors().lit : Palette::colors().hover);
            painter.drawRoundedRect(QRectF(row->ground()).adjusted(.5, .5, -.5, -.5), innerRadius, innerRadius);
        }
    }

private:
    ListCard& card;
    Label* const below;
    QList<int> separators; // y
};

ListCard::ListCard(const QString& title, const QString& nothing, Pasteboard& pasteboard, PanelHost& panelHost)
    : Card(title, panelHost)
    , header(new Label(title, 14, Palette::ink(), this))
    , field(new SearchField(u"Search "_s + title.toLower(), pasteboard, this))
    , note(new Label(nothing, 12, Palette::muted(), this))
    , list(new QScrollArea(this))
    , page(new Page(*this))
    , emptyNote(nothing)
    , keys(new CardKeys(*this, [this](const QKeyEvent& event) { return handleKey(event); })) {
    header->setFont(Brand::signature(14));
    setHeading(title, INSET);
    field->setGeometry(WIDTH - INSET - SEARCH_WIDTH, INSET + (header->height() - SearchField::HEIGHT) / 2, SEARCH_WIDTH,
                       SearchField::HEIGHT);
    connect(field, &SearchField::textChanged, this, [this] { Q_EMIT searched(field->text()); });
    typing.setSingleShot(true);
    connect(&typing, &QTimer::timeout, this, &ListCard::tellFound);
    note->setFont(Brand::font(12, QFont::Light));
    note->setGeometry(INSET, listTop(), CONTENT_WIDTH, QFontMetrics(note->font()).height());
    dressTextView(*list);
    list->setFocusPolicy(Qt::NoFocus);
    list->setWidget(page);
    page->setAutoFillBackground(false);
    connect(this, &ListCard::pressed, this, [this](QPoint at) {
        QWidget* child = childAt(at);
        while (child && !(child->focusPolicy() & Qt::ClickFocus))
            child = child->parentWidget();
        if (!child || !keys->panel()) {
            leave();
            return;
        }
        Q_EMIT keys->panel()->pressed({}); // the keyboard may have gone to others meanwhile
        keys->enter(child);
    });
    connect(keys, &CardKeys::enteredChild, this, [this](QWidget* child) {
        if (child == field)
            Q_EMIT searched(field->text());
    });
    resize(WIDTH, LEAST_HEIGHT);
    setItems({});
}

// It may stay in memory for a moment.
void ListCard::hideEvent(QHideEvent*) { keys->giveBack(); }

void ListCard::leave() { keys->leave(); }

int ListCard::listTop() const { return INSET + header->height() + HEADER_SPACING; }

void ListCard::setHeading(const QString& text, int left) {
    header->setText(text);
    header->setGeometry(left, INSET, WIDTH - INSET - left, QFontMetrics(header->font()).height());
}

bool ListCard::isSearching() const { return !field->text().isEmpty(); }

void ListCard::setItems(const QList<ListItem>& items, const QString& below) {
    const bool same = std::equal(shown.begin(), shown.end(), items.begin(), items.end(),
                                 [](const ListRow* row, const ListItem& item) { return row->standsFor(item); });
    if (same) {
        for (qsizetype i = 0; i < items.size(); ++i)
            shown[i]->setItem(items[i]);
    } else {
        addRows(items);
    }
    page->stack(below);
    note->setText(isSearching() ? u"Nothing found."_s : emptyNote);
    const int content = items.isEmpty() ? note->height() : page->height();
    if (isSearching())
        typing.start(A_PAUSE);
    // While it is searched the card stands still.
    listHeight = std::max({LEAST_HEIGHT, listTop() + content + INSET, isSearching() ? listHeight : 0});
    showList(listVisible, height());
}

void ListCard::announce(const QString& text) {
    if (keys->panel())
        keys->panel()->announce(text);
}

void ListCard::tellFound() {
    if (isSearching())
        announce(shown.isEmpty() ? note->text() : u"%1 in the list"_s.arg(shown.size()));
}

void ListCard::addRows(const QList<ListItem>& items) {
    const QString chosen = selected ? selected->id() : QString();
    selected = nullptr;
    for (ListRow* row : std::as_const(shown)) {
        row->hide();
        row->deleteLater(); // it may be the one that was pressed
    }
    shown.clear();
    for (const ListItem& item : items) {
        auto* row = new ListRow(item, CONTENT_WIDTH, page);
        connectRow(row);
        shown.append(row);
        if (item.id == chosen) {
            selected = row;
            row->setSelected(true);
        }
    }
}

void ListCard::connectRow(ListRow* row) {
    connect(row, &ListRow::clicked, this, [this, row] { Q_EMIT rowTapped(row->id()); });
    connect(row, &ListRow::removeTapped, this, [this, row] { remove(*row); });
}

void ListCard::remove(ListRow& row) {
    if (row.asked())
        Q_EMIT removeWanted(QString(row.id()));
    else
        row.askToRemove();
}

void ListCard::showList(bool visible, int otherHeight) {
    listVisible = visible;
    field->setVisible(visible && (isSearching() || !shown.isEmpty()));
    list->setVisible(visible && !shown.isEmpty());
    note->setVisible(visible && shown.isEmpty());
    fit(visible ? listHeight : otherHeight);
}

void ListCard::fit(int wanted) {
    const int fitting = std::max(LEAST_HEIGHT, std::min(wanted, mostHeight));
    if (fitting != height())
        resizeGlass(QRect(placeResized(geometry(), fitting, keys->panel() ? host.screens() : std::vector<ScreenArea>()),
                          QSize(WIDTH, fitting)));
    const int left = INSET - OVERHANG;
    list->setGeometry(left, listTop(), WIDTH - left, fitting - listTop() - INSET);
}

bool ListCard::handleKey(const QKeyEvent& event) {
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
    case Qt::Key_PageDown:
        select(at + PAGE);
        return true;
    case Qt::Key_PageUp:
        select(at < 0 ? shown.size() - 1 : at - PAGE);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!selected && keys->areIn())
            select(0);
        // Without a row chosen on purpose, Return still belongs to the prompt.
        if (selected)
            Q_EMIT rowEntered(QString(selected->id()));
        return selected || keys->areIn();
    case Qt::Key_Delete:
        if (!selected || !selected->isRemovable())
            return false;
        remove(*selected);
        return true;
    case Qt::Key_Escape:
        if (isSearching())
            field->clear();
        else
            Q_EMIT dismissed();
        return true;
    default:
        return false;
    }
}

void ListCard::select(qsizetype index) {
    if (shown.isEmpty())
        return;
    deselect();
    selected = shown[std::clamp<qsizetype>(index, 0, shown.size() - 1)];
    selected->setSelected(true);
    list->ensureWidgetVisible(selected, 0, SPACING);
    page->update();
    QAccessibleEvent focused(selected, QAccessible::Focus); // no window of ours has the focus: said by hand
    QAccessible::updateAccessibility(&focused);
}

void ListCard::selectRow(const QString& id) {
    for (qsizetype i = 0; i < shown.size(); ++i) {
        if (shown[i]->id() == id)
            select(i);
    }
}

void ListCard::deselect() {
    if (selected)
        selected->setSelected(false);
    selected = nullptr;
    page->update();
}

void ListCard::openBeside(CapturePanel& panel) {
    mostHeight = mostHeightBeside(panel.geometry(), host.screens());
    fit(height());
    openAt(placeBeside(panel.geometry(), size(), host.screens()));
    keys->takeFrom(panel);
    connect(&panel, &CapturePanel::promptChanged, this, &ListCard::deselect);
}

void ListCard::paintEvent(QPaintEvent* event) {
    Card::paintEvent(event);
    if (!field->isVisible())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintFill(painter, field->geometry(), Palette::fillInput());
    if (field->hasFocus())
        paintFocus(painter, field->geometry());
}

} // namespace ovalin
