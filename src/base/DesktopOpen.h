#pragma once

#include <tl/expected.hpp>

#include <QString>

namespace ovalin {

/// Hands a file or an address to the program that the desktop has for it. The error says why xdg-open did not start;
/// what it does then is not known. Any thread but the main one.
[[nodiscard]] tl::expected<void, QString> openOnDesktop(const QString& target);

} // namespace ovalin
