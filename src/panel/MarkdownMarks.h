#pragma once

#include <QString>

namespace ovalin {

/// A text without the marks of Markdown that an agent writes now and then: for headings, stress, code. List items begin
/// with a hyphen. What stands between backticks or fences is kept as it is, and underscores are, which belong to names
/// more often. Pure.
[[nodiscard]] QString withoutMarks(const QString& text);

/// The same for the ear: of a link only its words. Pure.
[[nodiscard]] QString asSpoken(const QString& text);

} // namespace ovalin
