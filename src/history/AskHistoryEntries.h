#pragma once

#include "views/PastConversation.h"

#include <tl/expected.hpp>

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace ovalin {

// The remembered conversations, most recently active first. Entries are loose objects: each key is read with a check of
// its type, and all that are not understood are kept. Pure, any thread.

using AskHistoryEntries = QList<QJsonObject>;

/// One question and its answer, as they are stored.
struct AskTurn {
    QString sessionId;
    QString app;
    std::optional<QString> firstQuestion; ///< of the conversation; absent: this turn's
    QString question;
    QString answer;
    bool interrupted = false;
    QString saidSoFar = {}; ///< of an interrupted answer, without notes of ours

    [[nodiscard]] const QString& opening() const { return firstQuestion ? *firstQuestion : question; }
};

/// The entries in the file's bytes, none for a blank file; or why these are no history.
[[nodiscard]] tl::expected<AskHistoryEntries, QString> parseAskHistory(const QByteArray& bytes);
[[nodiscard]] QByteArray askHistoryBytes(const AskHistoryEntries& entries);

enum class Stored { Updated, Created };

/// Stores the turn with the first entry of its session, or with a new one; that is the front one afterwards. An entry
/// keeps the last three exchanges.
Stored storeTurn(AskHistoryEntries& entries, const AskTurn& turn, const QDateTime& now);

/// Takes out what is beyond the 20 that are kept.
[[nodiscard]] AskHistoryEntries takeSurplus(AskHistoryEntries& entries);

/// Puts it into the archive, which keeps the newest 1,000.
void putAway(AskHistoryEntries& archive, const AskHistoryEntries& surplus);

/// Sets the title of the first entry with this id; false when there is none.
bool setTitle(AskHistoryEntries& entries, const QString& id, const QString& title);

/// Removes all entries with this id.
void removeEntries(AskHistoryEntries& entries, const QString& id);

/// The first entry with this id.
[[nodiscard]] std::optional<QJsonObject> entryWithId(const AskHistoryEntries& entries, const QString& id);

/// "title", else "first", on one line, in no direction but its own; "(conversation)" when it has neither.
[[nodiscard]] QString entryTitle(const QJsonObject& entry);

/// What the agent had said of its last answer when that was cut short; empty when it was not.
[[nodiscard]] QString unfinishedAnswer(const QJsonObject& entry);

[[nodiscard]] QList<PreviewLine> previewLines(const QJsonObject& entry);

/// The entry as others see it; absent where it has no id to go on by.
[[nodiscard]] std::optional<PastConversation> pastConversation(const QJsonObject& entry, const QDateTime& now);

} // namespace ovalin
