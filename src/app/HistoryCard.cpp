#include "HistoryCard.h"

#include "Program.h"

#include "panel/CapturePanel.h"

using namespace Qt::StringLiterals;

namespace ovalin {

HistoryCard::HistoryCard(Program& theProgram, CapturePanel& thePanel)
    : program(theProgram)
    , panel(thePanel) {
    load();
}

void HistoryCard::load() {
    program.askHistory.loadAskHistory(this, [this](const AskHistoryEntries& entries) {
        if (wanted.isEmpty())
            show(entries);
    });
}

void HistoryCard::show(const AskHistoryEntries& entries) {
    QList<PastConversation> conversations;
    for (const QJsonObject& entry : entries) {
        if (auto conversation = pastConversation(entry, program.dispatch.wallClock()))
            conversations.append(*std::move(conversation));
    }
    if (card) {
        card->setConversations(conversations);
        return;
    }
    card.reset(new HistoryPanel(program.desktop.pasteboard, program.desktop.panels));
    card->setConversations(conversations);
    connect(card.get(), &HistoryPanel::rowTapped, this, [this](const QString& id) { Q_EMIT chosen(id, false); });
    connect(card.get(), &HistoryPanel::rowEntered, this, [this](const QString& id) { Q_EMIT chosen(id, true); });
    connect(card.get(), &HistoryPanel::removeWanted, this, &HistoryCard::remove);
    connect(card.get(), &HistoryPanel::searched, this, &HistoryCard::search);
    connect(card.get(), &HistoryPanel::dismissed, this, &HistoryCard::dismissed);
    card->openBeside(panel);
    panel.announce(u"Past conversations, %1, Tab leads into the search"_s.arg(conversations.size()));
}

void HistoryCard::search(const QString& words) {
    wanted = words.simplified();
    if (wanted.isEmpty())
        load();
    find();
}

// The index is there before the first letter is.
void HistoryCard::find() {
    if (!index) {
        if (!std::exchange(indexing, true))
            program.askHistory.loadIndex(
                this, [this, before = removed](const std::shared_ptr<const ConversationIndex>& read) {
                    indexing = false;
                    if (before == removed) // else it knows one that is gone
                        index = read;
                    find();
                });
        return;
    }
    if (wanted.isEmpty())
        return;
    program.dispatch.inBackground(
        Queue::UserInitiated, this,
        [searched = index, words = wanted] { return searched->find(words, HistoryPanel::MOST_ROWS); },
        [this, words = wanted](const AskHistoryEntries& found) {
            if (words == wanted) // else they have typed on meanwhile
                show(found);
        });
}

void HistoryCard::remove(const QString& id) {
    program.askHistory.evictAskHistory(id);
    index.reset();
    ++removed;
    if (wanted.isEmpty())
        load();
    else
        find();
}

} // namespace ovalin
