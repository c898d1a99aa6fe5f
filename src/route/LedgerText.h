#pragma once

#include "route/QueueItem.h"

#include <QByteArray>

#include <optional>

namespace ovalin {

inline constexpr qsizetype LEDGER_LIMIT = 500; ///< entries

/// The ledger's text with the item first, the newest LEDGER_LIMIT kept and "meta"."last_update" set, as withItem()
/// would have it, but without reading and writing anew what stands in all other entries. Absent where that cannot be:
/// the text is not laid out as ours, has no "last_update" yet, or holds the item already. Pure.
[[nodiscard]] std::optional<QByteArray> textWithItem(const QByteArray& ledger, const QueueItem& item);

} // namespace ovalin
