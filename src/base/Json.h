#pragma once

#include <tl/expected.hpp>

#include <QJsonObject>

namespace ovalin {

/// The bytes as a JSON object, or why they are none.
[[nodiscard]] tl::expected<QJsonObject, QString> parseObject(const QByteArray& bytes);

/// Indented, keys sorted.
[[nodiscard]] QByteArray prettyJson(const QJsonObject& object);

/// Carries the numbers of a JSON text that others write through Qt's reader, which knows 64 bits and doubles only:
/// each that a rewrite could change travels as a string, and stands in the new text as it stood in the old one. Pure.
class JsonNumbers {
public:
    explicit JsonNumbers(const QByteArray& json);

    /// The text for the reader. What is no number by the grammar (RFC 8259) stays, for the reader to refuse.
    [[nodiscard]] const QByteArray& guarded() const { return text; }
    /// What was written from it, with the numbers in their places.
    [[nodiscard]] QByteArray restored(const QByteArray& json) const;

private:
    QByteArray mark; ///< stands nowhere in the text
    QByteArray text;
};

} // namespace ovalin
