#pragma once

#include "route/QueueItem.h"

#include <tl/expected.hpp>

#include <QByteArray>

#include <functional>

namespace ovalin {

inline const QString QUEUED = QStringLiteral("queued");
inline const QString NEEDS_ATTENTION = QStringLiteral("needs attention");

/// The ledger in the file's bytes; an empty one for a blank file. The error says why the bytes are no ledger: not a
/// JSON object, or "items" is not an array of objects.
[[nodiscard]] tl::expected<QJsonObject, QString> parseLedger(const QByteArray& bytes);

/// The entry with this id; empty when there is none.
[[nodiscard]] QJsonObject entryIn(const QJsonObject& ledger, const QString& id);

/// The ledger with the item first, the 500 newest kept, and "meta"."last_update" set to the item's time; all else as it
/// was. An item that is there is brought up to date in its place, unless somebody has taken it up.
[[nodiscard]] QJsonObject withItem(QJsonObject ledger, const QueueItem& item);

// The ledger is shared with the router and other tools, which change it while we read and write: an edit that comes
// between makes us read again, up to 20 times. A file that cannot be parsed is set aside under a new name beside it,
// and a fresh one begun; one that cannot be read, or that somebody is writing, is left. Numbers stay as others wrote
// them. Errors name the step that failed. All of it blocks: for workers.

/// Records the item, durably.
[[nodiscard]] tl::expected<void, QString> appendToCaptures(const QString& capturesFile, const QueueItem& item);

/// Says what became of a request that still is "queued"; false: it is not (any more), and nothing was changed.
[[nodiscard]] tl::expected<bool, QString> settleCapture(const QString& capturesFile, const QString& id,
                                                        const QString& status, const QString& summary);

/// Takes out the entry of a request that still is "queued".
[[nodiscard]] tl::expected<void, QString> removeCapture(const QString& capturesFile, const QString& id);

/// Takes out the entries of ours, whatever became of them, that are to go.
[[nodiscard]] tl::expected<void, QString> removeCaptures(const QString& capturesFile,
                                                         const std::function<bool(const QString& id)>& goes);

} // namespace ovalin
