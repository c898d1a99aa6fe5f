#pragma once

#include <QString>
#include <QTextCursor>

class QTextDocument;

/// A text without line ends in a document whose blocks are short, so that a change to a long text lays out one block
/// and not all of it. The ends of the blocks do not belong to the text. Characters that would end a line or show as
/// nothing (control characters, separators) are inline objects as wide as a blank, which remember what they are.
namespace ovalin::CutText {

/// Makes the document show such characters. Once, before any text.
void prepare(QTextDocument& document);

/// Puts a text in the place of the cursor's selection.
void insert(QTextCursor cursor, const QString& text);

/// The text between two places of the document.
[[nodiscard]] QString between(const QTextDocument& document, int from, int to);

/// How many characters of the text stand before a place of the document.
[[nodiscard]] int lengthBefore(const QTextDocument& document, int place);

/// After a change between two places: joins blocks that fit into one and cuts long ones, as a part of that change for
/// undo.
void mend(QTextDocument& document, int from, int to);

} // namespace ovalin::CutText
