#pragma once

#include "IntentClassifier.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace ovalin {

/// One submission: what had been predicted and what the user chose.
struct IntentCommit {
    QString head;            ///< never empty
    QString predicted;       ///< "ask", "do" or "neutral"
    QString committed;       ///< "ask" or "do"
    bool overridden = false; ///< the user had chosen the mode by hand, against a definite prediction

    bool operator==(const IntentCommit&) const = default;
};

/// What is to be counted and logged about a submission; absent for a prompt without a head word, which is neither.
/// Pure.
[[nodiscard]] std::optional<IntentCommit> intentCommit(QStringView prompt, bool committedAsk,
                                                       OvalinIntent lastPredicted, bool modeLockedByUser);

/// ~/CLAUDE/system/ovalin-intent-log.jsonl, given that folder.
[[nodiscard]] QString commitLogPath(const QString& systemDir);

/// Appends the commit as one line of JSON, creating the file (not its folder) when it is missing. False when it could
/// not be written. Blocks on the file: for a background queue.
bool logCommit(const QString& path, const IntentCommit& commit, const QDateTime& time);

} // namespace ovalin
