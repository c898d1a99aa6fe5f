#pragma once

#include "capture/Subject.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace ovalin {

/// One Do request: a queue file of its own, and an entry in the captures ledger.
struct QueueItem {
    QString id;
    QString ts; ///< ISO 8601, UTC, whole seconds
    QString text;
    QString sourceApp;
    QString sourceBundle;
    QString prompt;
    std::optional<QString> sourceUrl;
    std::optional<QString> sourceTitle;
    QString contextMode;
    std::optional<QString> screenshot; ///< queue file only: absolute path of the PNG file
    std::optional<QString> screenText; ///< queue file only

    [[nodiscard]] bool wantsScreenshot() const { return contextMode == QLatin1String("screenshot"); }

    /// Without the two keys of the queue file.
    [[nodiscard]] QJsonObject ledgerEntry() const;
    [[nodiscard]] QJsonObject queueEntry() const;
    /// The item that an entry of either kind tells of; absent without an id of ours.
    [[nodiscard]] static std::optional<QueueItem> fromEntry(const QJsonObject& entry);
};

/// Makes a request of the item that is submitted at `time`, with an id of its own.
void submittedAt(QueueItem& item, const QDateTime& time);

/// "cap-", the milliseconds since 1970, "-", and `random` (0 to 65534) as four hexadecimal digits.
[[nodiscard]] QString requestId(const QDateTime& time, quint32 random);

/// When the request with this id was submitted, in milliseconds since 1970; absent when it is no id of ours.
[[nodiscard]] std::optional<qint64> timeOfId(const QString& id);

/// A request as it is submitted at `time`. `instruction` and `excerpt` are trimmed already and may be empty;
/// `contextMode`: "fetch" or "screenshot".
[[nodiscard]] QueueItem makeQueueItem(const QString& instruction, const QString& excerpt, const Subject& subject,
                                      const QString& contextMode, const QDateTime& time);

} // namespace ovalin
