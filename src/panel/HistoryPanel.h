#pragma once

#include "ListCard.h"

#include "views/PastConversation.h"

namespace ovalin {

/// The card that lists past conversations, made anew for every opening.
class HistoryPanel final : public ListCard {
    Q_OBJECT
public:
    static constexpr qsizetype MOST_ROWS = 8;

    HistoryPanel(Pasteboard& pasteboard, PanelHost& host);

    /// The newest first; the first eight show.
    void setConversations(const QList<PastConversation>& conversations);
};

} // namespace ovalin
