#pragma once

#include "route/QueueItem.h"

#include <tl/expected.hpp>

namespace ovalin {

/// What the screen showed at the opening that a request came from.
struct RequestShot {
    std::optional<QByteArray> png;
    std::optional<QString> text; ///< what was recognised in it
};

/// Where the request's queue file lies.
[[nodiscard]] QString queueFilePath(const QString& queueDir, const QString& id);

/// Completes the item for the queue: a request that wants a screenshot gets it as ID.png in `queueDir`; what cannot be
/// written leaves the key out. The text is cut to 6000 characters. Blocks: for workers.
void storeScreenshot(const QString& queueDir, QueueItem& item, const RequestShot& shot);

/// Writes ID.json into `queueDir`, whole and synced to the disk, and returns its absolute path. The error names the
/// step that failed. Blocks: for workers.
[[nodiscard]] tl::expected<QString, QString> writeQueueFile(const QString& queueDir, const QueueItem& item);

} // namespace ovalin
