#pragma once

#include <QString>

#include <optional>

namespace ovalin {

/// The text that an instruction names as the replacement itself ("replace with Acme Corp", "change it to 42", or a few
/// bare words), without the quotes around it; absent when it asks for something to be done. Pure.
[[nodiscard]] std::optional<QString> literalReplacement(const QString& instruction);

/// The text without blanks at its ends, and without one pair of quotes around it, straight or curly.
[[nodiscard]] QString stripQuotes(const QString& text);

} // namespace ovalin
