#pragma once

#include "Card.h"
#include "Widgets.h"

class QKeyEvent;
class QScrollArea;

namespace ovalin {

class Announcer;

/// The small card that explains in nine lines what the program does. Made anew each time.
class HowtoPanel final : public Card {
    Q_OBJECT
public:
    /// `hotkey`: what opens the panel; `installPage`: where the agent CLI comes from, named in the last line.
    HowtoPanel(const QString& hotkey, const QString& installPage, PanelHost& host);

    /// Height of the stacked content with its insets, before the least height of a card.
    [[nodiscard]] int contentHeight() const { return fitting; }

    /// At most that high; what does not fit then is scrolled.
    void keepWithin(int most);

Q_SIGNALS:
    void dismissed();

protected:
    /// As a filter of the capture panel's window, which holds the keyboard: Tab leads into the card and out of it.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool handleKey(const QKeyEvent& event);
    void enter(bool inside);

    QScrollArea* const lines;
    PillButton* const gotIt;
    Announcer* const announcer;
    QStringList spoken;
    bool entered = false;
    int fitting = 0;
};

} // namespace ovalin
