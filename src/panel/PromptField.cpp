#include "PromptField.h"

#include "Brand.h"
#include "CutText.h"
#include "Palette.h"

#include <QAbstractTextDocumentLayout>
#include <QMimeData>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QScopedValueRollback>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int ONE_LINE = 32, MOST_LINES = 4, MARGIN = 2;

bool matchesAny(const QKeyEvent& event, std::initializer_list<QKeySequence::StandardKey> keys) {
    return std::any_of(keys.begin(), keys.end(), [&](auto key) { return event.matches(key); });
}

} // namespace

PromptField::PromptField(Pasteboard& pasteboard, QWidget* parent)
    : PlainEdit(pasteboard, parent)
    , needed(ONE_LINE) {
    setAccessibleName(u"Prompt"_s);
    setFont(Brand::font(13, QFont::Normal));
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the right inset: it shows only what can be scrolled
    QPalette colors = palette();
    colors.setColor(QPalette::Text, Palette::ink());
    colors.setColor(QPalette::PlaceholderText, Palette::body());
    setPalette(colors);
    document()->setDocumentMargin(MARGIN);
    CutText::prepare(*document());
    fit();
    connect(document(), &QTextDocument::contentsChange, this, [this](int from, int, int added) {
        changedFrom = std::min(changedFrom, from);
        changedTo = std::max(changedTo, from + added);
        anew = anew || (from == 0 && added >= document()->characterCount() - 1);
    });
    connect(this, &QPlainTextEdit::textChanged, this, &PromptField::contentsEdited);
}

void PromptField::setText(const QString& text) {
    const QScopedValueRollback settingNow(setting, true);
    document()->setUndoRedoEnabled(false);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    CutText::insert(all, text);
    document()->setUndoRedoEnabled(true);
    moveCursor(QTextCursor::End);
}

void PromptField::clear() {
    const QScopedValueRollback settingNow(setting, true);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    all.removeSelectedText();
}

QString PromptField::selectedText() const {
    const QTextCursor cursor = textCursor();
    return CutText::between(*document(), cursor.selectionStart(), cursor.selectionEnd());
}

void PromptField::contentsEdited() {
    if (mending)
        return;
    {
        const QScopedValueRollback mendingNow(mending, true);
        if (!document()->isRedoAvailable()) // what an undo brought back was mended then
            CutText::mend(*document(), changedFrom, changedTo);
    }
    changedFrom = std::numeric_limits<int>::max();
    changedTo = 0;
    const bool isNew = std::exchange(anew, false);
    fit();
    QString now = CutText::between(*document(), 0, document()->characterCount());
    if (now == known)
        return;
    known = std::move(now);
    if (!setting)
        Q_EMIT edited(known, isNew);
}

// The first line stands where it would if it were the only one, whatever fonts are in it.
void PromptField::fit() {
    int lines = 0;
    qreal height = 0, ascent = 0;
    for (QTextBlock block = document()->begin(); block.isValid() && lines < MOST_LINES; block = block.next()) {
        document()->documentLayout()->blockBoundingRect(block); // lays it out
        for (int i = 0; i < block.layout()->lineCount() && lines < MOST_LINES; ++i, ++lines) {
            height += block.layout()->lineAt(i).height();
            if (lines == 0)
                ascent = block.layout()->lineAt(i).ascent();
        }
    }
    const QFontMetrics metrics(font());
    const int text = static_cast<int>(std::ceil(height));
    const int raised = lines > 1 ? 0 : qRound(ascent) - metrics.ascent();
    const int above = (ONE_LINE - metrics.height() + 1) / 2 - MARGIN - raised;
    const int wanted = lines > 1 ? ONE_LINE - metrics.height() + text : ONE_LINE;
    // Qt counts a line as hidden unless a pixel is left below the margin.
    setViewportMargins(0, above, 0, wanted - above - text - 2 * MARGIN - 1);
    const int before = std::exchange(needed, wanted);
    if (needed != before)
        Q_EMIT neededHeightChanged();
}

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
        const bool up = event->key() == Qt::Key_Up;
        QTextCursor cursor = textCursor();
        if (cursor.movePosition(up ? QTextCursor::Up : QTextCursor::Down))
            setTextCursor(cursor);
        else
            Q_EMIT walked(up);
    } else if (matchesAny(*event, {QKeySequence::MoveToStartOfLine, QKeySequence::SelectStartOfLine})) {
        moveCursor(QTextCursor::Start,
                   event->modifiers() & Qt::ShiftModifier ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor);
    } else if (matchesAny(*event, {QKeySequence::MoveToEndOfLine, QKeySequence::SelectEndOfLine})) {
        moveCursor(QTextCursor::End,
                   event->modifiers() & Qt::ShiftModifier ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor);
    } else {
        moveOrDelete(event);
    }
}

// A step over the end of a block is none in the text.
void PromptField::moveOrDelete(QKeyEvent* event) {
    QTextCursor cursor = textCursor();
    if (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete) {
        const bool back = event->key() == Qt::Key_Backspace;
        if (!cursor.hasSelection() && (back ? cursor.atBlockStart() : cursor.atBlockEnd()) &&
            cursor.movePosition(back ? QTextCursor::PreviousCharacter : QTextCursor::NextCharacter))
            setTextCursor(cursor);
    }
    PlainEdit::keyPressEvent(event);
    const bool sideways = event->key() == Qt::Key_Left || event->key() == Qt::Key_Right;
    const int place = textCursor().position();
    if (sideways && place != cursor.position() && textCursor().hasSelection() == cursor.hasSelection() &&
        CutText::lengthBefore(*document(), place) == CutText::lengthBefore(*document(), cursor.position()))
        PlainEdit::keyPressEvent(event);
}

void PromptField::inputMethodEvent(QInputMethodEvent* event) {
    composing = !event->preeditString().isEmpty();
    PlainEdit::inputMethodEvent(event);
    fit();
}

void PromptField::resizeEvent(QResizeEvent* event) {
    PlainEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        fit();
}

// A press on the selection would begin to drag it, and dragging waits in a loop of its own.
void PromptField::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !(event->modifiers() & Qt::ShiftModifier))
        selectNothing();
    PlainEdit::mousePressEvent(event);
}

void PromptField::focusInEvent(QFocusEvent* event) {
    PlainEdit::focusInEvent(event);
    const bool byTab = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    if (byTab && !textCursor().hasSelection())
        selectAll();
}

void PromptField::focusOutEvent(QFocusEvent* event) {
    PlainEdit::focusOutEvent(event);
    if (event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason)
        selectNothing();
}

void PromptField::selectNothing() {
    QTextCursor cursor = textCursor();
    cursor.clearSelection();
    setTextCursor(cursor);
}

QMimeData* PromptField::createMimeDataFromSelection() const {
    auto* copied = new QMimeData;
    copied->setText(selectedText());
    return copied;
}

void PromptField::insertPasted(const QString& text) {
    CutText::insert(textCursor(), text);
    ensureCursorVisible();
}

} // namespace ovalin
