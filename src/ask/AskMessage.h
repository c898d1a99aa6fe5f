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

/// What one user message is made of.
struct AskMessage {
    QString text;
    std::optional<QByteArray> shot; ///< PNG
    QString saidSoFar;              ///< of an answer that was cut short, which the agent does not remember
};

/// One user message of `--input-format stream-json` with its line feed. The last block is always a text of our own: the
/// agent looks there for commands and for files to read. A screenshot makes it megabytes: for workers. Absent when a
/// text is not valid Unicode.
[[nodiscard]] std::optional<QByteArray> askMessageLine(const AskMessage& message);

} // namespace ovalin
