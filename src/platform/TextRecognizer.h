#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace ovalin {

/// Reads the text in a picture.
class TextRecognizer {
public:
    virtual ~TextRecognizer() = default;

    /// The lines of text in reading order, empty when the picture shows none; absent when it could not be read (the log
    /// says why, once). Worker threads; takes seconds, but has a deadline.
    [[nodiscard]] virtual std::optional<QString> recognize(const QByteArray& png) = 0;
};

} // namespace ovalin
