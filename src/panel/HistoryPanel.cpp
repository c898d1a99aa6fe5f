#include "HistoryPanel.h"

using namespace Qt::StringLiterals;

namespace ovalin {

HistoryPanel::HistoryPanel(Pasteboard& pasteboard, PanelHost& panelHost)
    : ListCard(u"Past conversations"_s, u"No past conversations yet."_s, pasteboard, panelHost) {}

void HistoryPanel::setConversations(const QList<PastConversation>& conversations) {
    QList<ListItem> items;
    for (const PastConversation& each : conversations.first(std::min(conversations.size(), MOST_ROWS))) {
        ListItem item{each.id, each.title, each.age, {}};
        if (each.interrupted)
            item.age += u" · unfinished"_s;
        item.removable = true;
        items.append(item);
    }
    setItems(items);
}

} // namespace ovalin
