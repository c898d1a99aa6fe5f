#pragma once

#include "Widgets.h"

#include "views/PastConversation.h"

namespace ovalin {

/// One conversation of the list: its title, cut with an ellipsis where the room ends, and its age, which always shows.
/// The card paints the ground behind it.
class HistoryRow final : public FlushButton {
    Q_OBJECT
public:
    static constexpr int HEIGHT = 26;
    static constexpr int OVERHANG = 6; ///< how far the ground reaches beyond the text on both sides

    HistoryRow(const PastConversation& conversation, int width, QWidget* parent);

    [[nodiscard]] const QString& id() const { return identifier; }
    [[nodiscard]] QRect ground() const { return geometry().adjusted(-OVERHANG, 0, OVERHANG, 0); }

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void paintFace(QPainter& painter, QRectF face) override;

private:
    const QString identifier;
    const QString age;
    QString shownTitle;
    int ageAt = 0; // x
};

} // namespace ovalin
