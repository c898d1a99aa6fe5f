#pragma once

#include <QDateTime>
#include <QString>

namespace ovalin {

/// The text as one single-quoted word of the shell: every quote inside becomes '\''.
[[nodiscard]] QString shellQuoted(const QString& text);

/// The first `count` user-perceived characters (grapheme clusters, UAX #29).
[[nodiscard]] QString firstCharacters(const QString& text, qsizetype count);

/// How many user-perceived characters the text has.
[[nodiscard]] qsizetype characterCount(const QString& text);

/// What another program wrote, for the screen: its first `most` characters on one line, white space and control
/// characters as single blanks, without the overrides of the writing direction (UAX #9), which would reach beyond it,
/// and without piles of accents.
[[nodiscard]] QString onOneLine(const QString& text, qsizetype most);

/// The same for a view of several lines: white space stays, what else would forge them shows as U+FFFD, place for
/// place.
[[nodiscard]] QString inPlainLines(QString text);

/// The text for a search: neither case nor accents count.
[[nodiscard]] QString folded(const QString& text);

/// ISO 8601 internet date-time in UTC, whole seconds: 2026-11-16T19:30:00Z.
[[nodiscard]] QString isoTimestamp(const QDateTime& time);

} // namespace ovalin
