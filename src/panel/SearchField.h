#pragma once

#include "PlainEdit.h"

namespace ovalin {

/// One line for the words that a list is searched for.
class SearchField final : public PlainEdit {
    Q_OBJECT
public:
    static constexpr int HEIGHT = 24;

    SearchField(const QString& accessibleName, Pasteboard& pasteboard, QWidget* parent);

    [[nodiscard]] QString text() const { return toPlainText(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void insertPasted(const QString& text) override { insertPlainText(text.left(LONGEST).simplified()); }

private:
    static constexpr qsizetype LONGEST = 200; // characters of a paste
};

} // namespace ovalin
