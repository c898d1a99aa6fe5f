#include "PromptField.h"

#include "Brand.h"
#include "EditMenu.h"
#include "Palette.h"

#include <QContextMenuEvent>
#include <QInputMethodEvent>
#include <QMouseEvent>

#include <limits>

namespace ovalin {

PromptField::PromptField(Pasteboard& thePasteboard, QWidget* parent)
    : QLineEdit(parent)
    , pasteboard(thePasteboard) {
    setAccessibleName(QStringLiteral("Prompt"));
    setFont(Brand::font(13, QFont::Normal));
    setFrame(false);
    setMaxLength(std::numeric_limits<int>::max());
    // A drop would be read from its source by a nested loop.
    setAcceptDrops(false);
    QPalette colors = palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, Palette::ink());
    colors.setColor(QPalette::PlaceholderText, Palette::body());
    colors.setColor(QPalette::Highlight, QColor(140, 137, 231, 120));
    colors.setColor(QPalette::HighlightedText, Palette::ink());
    setPalette(colors);
}

void PromptField::setPlaceholder(const QString& text) { setPlaceholderText(text); }

void PromptField::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool isArrow =
        (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down) && !(event->modifiers() & ~Qt::KeypadModifier);
    if (composing && (isReturn || event->key() == Qt::Key_Escape)) {
        event->accept(); // ends the composition; the input method has it already
        return;
    }
    if (isReturn) {
        event->accept();
        if (!event->isAutoRepeat()) // it may be held since before the panel was there
            Q_EMIT submitted();
    } else if (event->key() == Qt::Key_Escape) {
        event->accept();
        if (!event->isAutoRepeat())
            Q_EMIT cancelled();
    } else if (isArrow && !composing) {
        event->accept();
        Q_EMIT walked(event->key() == Qt::Key_Up);
    } else if (isPaste(event)) {
        event->accept();
        pasteFrom(Pasteboard::Selection::Clipboard);
    } else {
        QLineEdit::keyPressEvent(event);
    }
}

void PromptField::inputMethodEvent(QInputMethodEvent* event) {
    composing = !event->preeditString().isEmpty();
    QLineEdit::inputMethodEvent(event);
}

void PromptField::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::MiddleButton) {
        setCursorPosition(cursorPositionAt(event->position().toPoint()));
        pasteFrom(Pasteboard::Selection::Primary);
        return;
    }
    QLineEdit::mouseReleaseEvent(event);
}

void PromptField::contextMenuEvent(QContextMenuEvent* event) {
    EditActions actions;
    actions.canUndo = isUndoAvailable();
    actions.canRedo = isRedoAvailable();
    actions.hasSelection = hasSelectedText();
    actions.undo = [this] { undo(); };
    actions.redo = [this] { redo(); };
    actions.cut = [this] { cut(); };
    actions.copy = [this] { copy(); };
    actions.paste = [this] { pasteFrom(Pasteboard::Selection::Clipboard); };
    actions.clear = [this] { del(); };
    actions.selectAll = [this] { selectAll(); };
    showEditMenu(this, event->globalPos(), actions);
}

void PromptField::pasteFrom(Pasteboard::Selection selection) {
    pasteboard.readText(selection, this, [this](const QString& text) { insert(text); });
}

} // namespace ovalin
