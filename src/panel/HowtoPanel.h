#pragma once

#include "Card.h"
#include "Widgets.h"

class QScrollArea;

namespace ovalin {

/// The small card that explains in nine lines what the program does. Made anew each time.
class HowtoPanel final : public Card {
    Q_OBJECT
public:
    /// `hotkey`: what opens the panel; `installPage`: where the agent CLI comes from, named in the last line.
    HowtoPanel(const QString& hotkey, const QString& installPage, bool composited);

    /// Height of the stacked content with its insets, before the least height of a card.
    [[nodiscard]] int contentHeight() const { return fitting; }

    /// At most that high; what does not fit then is scrolled.
    void keepWithin(int most);

Q_SIGNALS:
    void dismissed();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QScrollArea* const lines;
    PillButton* const gotIt;
    int fitting = 0;
};

} // namespace ovalin
