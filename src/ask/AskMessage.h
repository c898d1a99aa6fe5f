#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace ovalin {

struct CaptureContext;

/// What of the opening goes into the first question of a chat process.
struct AskPreamble {
    QStringList parts;
    bool attachShot = false;
};

/// The application, and the page or the screenshot with its text. Pure.
[[nodiscard]] AskPreamble askPreamble(const CaptureContext& context);

/// The text of a question: the preamble, what is highlighted, the search block, the question. Pure.
[[nodiscard]] QString askMessage(const QStringList& preamble, const QString& selection, const QString& searchBlock,
                                 const QString& question);

/// One user message of `--input-format stream-json` with its line feed; with the PNG's base64 text when there is one.
/// A screenshot makes it megabytes: for workers. Absent when the text is not valid Unicode.
[[nodiscard]] std::optional<QByteArray> askMessageLine(const QString& message, const std::optional<QString>& shotB64);

} // namespace ovalin
