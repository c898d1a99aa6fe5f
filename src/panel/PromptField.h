#pragma once

#include "PlainEdit.h"

namespace ovalin {

/// The field for the instruction: a line, which wraps when it is full and then needs more height, up to four lines. A
/// line end is a character of the text like any other, and shows as a blank. The text may be megabytes long.
class PromptField final : public PlainEdit {
    Q_OBJECT
public:
    PromptField(Pasteboard& pasteboard, QWidget* parent);

    [[nodiscard]] QString text() const { return known; }
    /// The insertion point is at its end then, and there is nothing to undo.
    void setText(const QString& text);
    /// Can be undone.
    void clear();
    [[nodiscard]] QString selectedText() const;

    void setPlaceholder(const QString& text) { setPlaceholderText(text); }

    /// The height that it needs, in pixels; 32 for one line.
    [[nodiscard]] int neededHeight() const { return needed; }

Q_SIGNALS:
    /// Return, outside of a composition of the input method.
    void submitted();
    /// Escape, outside of a composition.
    void cancelled();
    /// Up (older) in the first line, or Down in the last one.
    void walked(bool older);
    /// The user has changed the text. `anew`: nothing is left of what stood there.
    void edited(const QString& text, bool anew);
    void neededHeightChanged();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;
    void insertPasted(const QString& text) override;

private:
    void contentsEdited();
    void fit();
    void moveOrDelete(QKeyEvent* event);
    void selectNothing();

    QString known;
    int changedFrom = 0, changedTo = 0;
    bool anew = false;
    int needed;
    bool composing = false;
    bool setting = false; ///< the text is set, not edited
    bool mending = false;
};

} // namespace ovalin
