#pragma once

#include "route/QueueItem.h"

#include <tl/expected.hpp>

#include <QByteArray>

namespace ovalin {

/// The ledger in the file's bytes; an empty one for a blank file. The error says why the bytes are no ledger: not a
/// JSON object, or "items" is not an array of objects.
[[nodiscard]] tl::expected<QJsonObject, QString> parseLedger(const QByteArray& bytes);

/// The ledger with the item first, the 500 newest kept, and "meta"."last_update" set to the item's time; all else as it
/// was.
[[nodiscard]] QJsonObject withItem(QJsonObject ledger, const QueueItem& item);

/// Records the item in the ledger, which the router and other tools change too, while we read and write: an edit that
/// comes between makes us read again, up to 20 times. A file that is no ledger is set aside under a new name beside it,
/// and a fresh one begun. The error names the step that failed. Blocks: for workers.
[[nodiscard]] tl::expected<void, QString> appendToCaptures(const QString& capturesFile, const QueueItem& item);

} // namespace ovalin
