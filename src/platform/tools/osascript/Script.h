#pragma once

#include <QString>

#include <tl/expected.hpp>

#include <variant>

namespace ovalin {

/// `tell application "NAME" to return (URL of …) & "\n" & (title of …)`
struct PageScript {
    QString application;
};

/// `display notification "BODY" with title "TITLE"`; without a title it is empty.
struct NotificationScript {
    QString body;
    QString title;
};

using Script = std::variant<PageScript, NotificationScript>;

/// Understands the two forms of AppleScript lines that are used here; the error says for people what is not understood.
[[nodiscard]] tl::expected<Script, QString> parseScript(const QString& text);

} // namespace ovalin
