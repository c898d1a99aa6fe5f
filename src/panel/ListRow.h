#pragma once

#include "Widgets.h"

namespace ovalin {

/// What a row of a card's list says.
struct ListItem {
    QString id;
    QString title;          ///< one line, cut with an ellipsis where the room ends
    QString age;            ///< behind it, always whole
    QString note;           ///< a second, smaller line; empty: none
    bool lit = false;       ///< the note begins with a bullet
    bool removable = false; ///< it has a button that takes it away

    bool operator==(const ListItem&) const = default;
};

/// One row of a card's list. The list paints the ground behind it.
class ListRow final : public FlushButton {
    Q_OBJECT
public:
    static constexpr int OVERHANG = 6; ///< how far the ground reaches beyond the text on both sides

    ListRow(const ListItem& item, int width, QWidget* parent);

    void setItem(const ListItem& item);
    [[nodiscard]] const QString& id() const { return shown.id; }
    /// Whether it stands for this item, which may say something else by now.
    [[nodiscard]] bool standsFor(const ListItem& item) const {
        return shown.id == item.id && shown.note.isEmpty() == item.note.isEmpty();
    }
    [[nodiscard]] bool isRemovable() const { return remover != nullptr; }
    [[nodiscard]] QRect ground() const { return geometry().adjusted(-OVERHANG, 0, OVERHANG, 0); }

    void setSelected(bool selected);
    /// The next press on its button, or the next removal by key, is meant. Until it is left.
    void askToRemove();
    [[nodiscard]] bool asked() const { return asking; }

Q_SIGNALS:
    void removeTapped();

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void paintFace(QPainter& painter, QRectF face) override;

private:
    void layOut();
    void showRemover();
    void stopAsking();

    ListItem shown;
    GlyphButton* remover = nullptr;
    QString cutTitle, cutNote;
    int ageAt = 0; // x
    bool selected = false;
    bool asking = false;
};

} // namespace ovalin
