#pragma once

#include "Card.h"
#include "ListRow.h"
#include "Placement.h"

#include <QTimer>

class QKeyEvent;
class QScrollArea;

namespace ovalin {

class CapturePanel;
class CardKeys;
class Pasteboard;
class SearchField;

/// A card with a list that can be searched; the few keys that operate it come from the capture panel (CardKeys).
class ListCard : public Card {
    Q_OBJECT
public:
    /// What the list shows, the newest first, and a line below it. Rows that stay keep their place and selection.
    void setItems(const QList<ListItem>& items, const QString& below = {});
    [[nodiscard]] const QList<ListRow*>& rows() const { return shown; }
    [[nodiscard]] ListRow* selectedRow() const { return selected; }
    /// Also brings it into view.
    void selectRow(const QString& id);

    /// Shows it there, no higher than there is room, and takes the keys that the panel gets until it is gone.
    void openBeside(CapturePanel& panel);
    /// All keys are the panel's again.
    void leave();

    /// Up, Down and the page keys select a row, Return takes the selected one, Delete removes it (at the second press),
    /// Escape dismisses. False: the key is none of ours.
    virtual bool handleKey(const QKeyEvent& event);

    /// Return belongs to the prompt again. For words that come into the prompt.
    void deselect();

Q_SIGNALS:
    /// The row with this id was chosen.
    void rowTapped(const QString& id);
    /// The same by Return.
    void rowEntered(const QString& id);
    void removeWanted(const QString& id);
    /// Neither case nor accents are to count; empty: all are to show. Also when the user goes into the field.
    void searched(const QString& words);
    void dismissed();

protected:
    ListCard(const QString& title, const QString& emptyNote, Pasteboard& pasteboard, PanelHost& host);

    static constexpr int INSET = 16, CONTENT_WIDTH = WIDTH - 2 * INSET;

    [[nodiscard]] int listTop() const;
    void setHeading(const QString& text, int left);
    /// Shows the list with its search field, or makes room for something else of this height.
    void showList(bool visible, int otherHeight = 0);
    /// To a screen reader.
    void announce(const QString& text);

    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    class Page;

    void addRows(const QList<ListItem>& items);
    void connectRow(ListRow* row);
    void fit(int wanted);
    void select(qsizetype index);
    void remove(ListRow& row);
    [[nodiscard]] bool isSearching() const;
    void tellFound();

    Label* const header;
    SearchField* const field;
    Label* const note;
    QScrollArea* const list;
    Page* const page;
    const QString emptyNote;
    CardKeys* const keys;
    QList<ListRow*> shown;
    ListRow* selected = nullptr;
    bool listVisible = true;
    int mostHeight = 10000;
    int listHeight = 0;

    QTimer typing; ///< what is found is told when they pause
};

} // namespace ovalin
