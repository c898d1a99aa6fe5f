#include "PlainEdit.h"

#include "EditMenu.h"
#include "SlimScrollBar.h"

#include <QContextMenuEvent>
#include <QTextBlock>

namespace ovalin {

PlainEdit::PlainEdit(Pasteboard& pasteboard, QWidget* parent)
    : QPlainTextEdit(parent)
    , clipboards(pasteboard) {
    dressTextView(*this);
    setTabChangesFocus(true);
    connect(this, &QPlainTextEdit::textChanged, this, &PlainEdit::alignAsItReads);
}

// The layout of plain text knows the direction of each line, but leaves all of them at the left.
void PlainEdit::alignAsItReads() {
    QTextOption option = document()->defaultTextOption();
    const bool fromRight = document()->firstBlock().text().isRightToLeft();
    const Qt::Alignment wanted = fromRight ? Qt::AlignRight : Qt::AlignLeft;
    if (option.alignment() == wanted)
        return;
    option.setAlignment(wanted);
    document()->setDefaultTextOption(option);
}

void PlainEdit::keyPressEvent(QKeyEvent* event) {
    if (isPaste(event)) {
        event->accept();
        pasteFrom(Pasteboard::Selection::Clipboard);
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

void PlainEdit::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::MiddleButton) {
        setTextCursor(cursorForPosition(event->position().toPoint()));
        pasteFrom(Pasteboard::Selection::Primary);
        return;
    }
    QPlainTextEdit::mouseReleaseEvent(event);
}

void PlainEdit::contextMenuEvent(QContextMenuEvent* event) {
    EditActions actions;
    actions.canUndo = document()->isUndoAvailable();
    actions.canRedo = document()->isRedoAvailable();
    actions.hasSelection = textCursor().hasSelection();
    actions.undo = [this] { undo(); };
    actions.redo = [this] { redo(); };
    actions.cut = [this] { cut(); };
    actions.copy = [this] { copy(); };
    actions.paste = [this] { pasteFrom(Pasteboard::Selection::Clipboard); };
    actions.clear = [this] { textCursor().removeSelectedText(); };
    actions.selectAll = [this] { selectAll(); };
    showEditMenu(this, event->globalPos(), actions);
}

void PlainEdit::pasteFrom(Pasteboard::Selection selection) {
    clipboards.readText(selection, this, [this](const QString& text) { insertPasted(text); });
}

} // namespace ovalin
