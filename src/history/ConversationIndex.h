#pragma once

#include "AskHistoryEntries.h"

namespace ovalin {

/// Past conversations as they are searched: title, first question and preview, without case and accents. A value that
/// does not change any more: any thread.
class ConversationIndex {
public:
    /// The newest first; of two with one id the later one does not count.
    explicit ConversationIndex(const AskHistoryEntries& entries);

    /// The newest in which each of these words stands, as a part of a word too; `most` of them.
    [[nodiscard]] AskHistoryEntries find(const QString& words, qsizetype most) const;

private:
    struct Indexed {
        QJsonObject entry;
        QByteArray text; ///< UTF-8, in which the C library searches fastest
    };
    QList<Indexed> all;
};

} // namespace ovalin
