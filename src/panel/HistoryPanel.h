#pragma once

#include "Card.h"

#include "views/PastConversation.h"

class QKeyEvent;

namespace ovalin {

class HistoryRow;

/// The card that lists the newest past conversations, made anew for every opening. As an event filter of the capture
/// panel's window, which holds the keyboard, it takes the few keys that operate the list.
class HistoryPanel final : public Card {
    Q_OBJECT
public:
    /// `conversations`: the newest first.
    HistoryPanel(const QList<PastConversation>& conversations, bool composited);

    [[nodiscard]] const QList<HistoryRow*>& rows() const { return shown; }
    [[nodiscard]] HistoryRow* selectedRow() const { return selected; }

    /// Up and Down select a row, Return takes the selected one, Escape dismisses. False: the key is none of ours.
    bool handleKey(const QKeyEvent& event);

    /// Return belongs to the prompt again. For words that come into the prompt.
    void deselect();

Q_SIGNALS:
    /// The conversation with this id was chosen.
    void rowTapped(const QString& id);
    /// The same by Return.
    void rowEntered(const QString& id);
    void dismissed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void addRows(const QList<PastConversation>& conversations, int top);
    void select(qsizetype index);

    QList<HistoryRow*> shown;
    QList<int> separators; // y
    HistoryRow* selected = nullptr;
};

} // namespace ovalin
