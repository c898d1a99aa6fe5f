#pragma once

#include <QColor>
#include <QString>
#include <QTextCharFormat>
#include <QTextCursor>

/// How the transcript's text stands in its document, and how it is read out of it again. Main thread.
namespace ovalin::TranscriptText {

/// The user state of a layout block.
enum BlockState {
    CONTINUES_BLOCK = 1, // it goes on from the one before it
    YOU_SPEAK,           // a label
    TORVI_SPEAKS,
};

[[nodiscard]] QTextCharFormat bodyFormat();
[[nodiscard]] QTextCharFormat labelFormat(const QColor& color);
/// Without a target it only looks like a link.
[[nodiscard]] QTextCharFormat linkFormat(const QString& target);

/// One document position for each unit: no character that a text document takes for something else or drops.
[[nodiscard]] QString presentable(const QString& words);

/// Removes or replaces what is selected; the block it begins in stays what it is (Qt would give it the last one's
/// state).
void replaceSelected(QTextCursor& selected, const QString& by = {}, const QTextCharFormat& format = {});

/// What is selected, as it was said: without the cuts, and without an answer's marks.
[[nodiscard]] QString copied(const QTextCursor& selected);

} // namespace ovalin::TranscriptText
