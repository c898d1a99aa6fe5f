#pragma once

#include "Glass.h"
#include "Widgets.h"

#include <QWidget>

namespace ovalin {

/// The small card that explains in nine lines what the program does. It never takes the keyboard. Made anew each time.
class HowtoPanel final : public QWidget {
    Q_OBJECT
public:
    static constexpr int WIDTH = 340;

    /// `installPage`: where the agent CLI comes from, named in the last line.
    HowtoPanel(const QString& installPage, bool composited);

    /// Height of the stacked content with its insets, before the least height of a card.
    [[nodiscard]] int contentHeight() const { return fitting; }

    void openAt(QPoint corner);

    PillButton* const gotIt;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    Glass glass;
    const bool composited;
    int fitting = 0;
    QPoint dragFrom;
};

} // namespace ovalin
