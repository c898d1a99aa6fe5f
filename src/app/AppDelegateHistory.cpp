// The flows of AppDelegate that concern past conversations.
#include "AppDelegate.h"

#include "panel/Placement.h"

#include <QWindow>

namespace ovalin {

void AppDelegate::connectChatToHistory() {
    connect(chat.get(), &AskChat::turnStored, &askHistory, &AskHistory::persistAskTurn);
    connect(chat.get(), &AskChat::evicted, &askHistory, &AskHistory::evictAskHistory);
    connect(chat.get(), &AskChat::unanswered, this, &AppDelegate::giveBack);
    connect(chat.get(), &AskChat::questionSent, this, &AppDelegate::closeHistoryPanel);
}

void AppDelegate::historyTapped() {
    if (historyPanel || historyOpening)
        closeHistoryPanel();
    else
        showHistoryPanel();
}

void AppDelegate::showHistoryPanel() {
    closeHowto();
    closeHistoryPanel();
    if (!panel)
        return;
    panel->showHistoryOpen(true);
    historyOpening = std::make_unique<QObject>();
    askHistory.loadAskHistory(historyOpening.get(), [this](const AskHistoryEntries& entries) {
        historyOpening.reset();
        openHistoryPanel(entries);
    });
}

void AppDelegate::openHistoryPanel(const AskHistoryEntries& entries) {
    QList<PastConversation> conversations;
    for (const QJsonObject& entry : entries) {
        if (auto conversation = pastConversation(entry, dispatch.wallClock()))
            conversations.append(*std::move(conversation));
    }
    historyPanel = std::make_unique<HistoryPanel>(conversations, desktop.workspace.compositorRuns());
    connect(historyPanel.get(), &HistoryPanel::rowTapped, this, &AppDelegate::historyRowTapped);
    connect(historyPanel.get(), &HistoryPanel::rowEntered, this, [this](const QString& id) {
        if (chat->streaming())
            sendTapped(); // no row opens now, but the prompt may say stop
        else
            historyRowTapped(id);
    });
    connect(panel.get(), &CapturePanel::promptChanged, historyPanel.get(), &HistoryPanel::deselect);
    connect(historyPanel.get(), &HistoryPanel::dismissed, this, &AppDelegate::closeHistoryPanel);
    panel->windowHandle()->installEventFilter(historyPanel.get()); // the panel keeps the keyboard
    historyPanel->openAt(placeBeside(panel->geometry(), historyPanel->size(), screens()));
}

void AppDelegate::closeHistoryPanel() {
    historyOpening.reset();
    if (historyPanel) {
        panel->windowHandle()->removeEventFilter(historyPanel.get());
        historyPanel->hide();
        historyPanel->disconnect(this);
        historyPanel.release()->deleteLater(); // we may be in one of its own signals
    }
    if (panel)
        panel->showHistoryOpen(false);
}

void AppDelegate::historyRowTapped(const QString& id) {
    if (chat->streaming())
        return;
    closeHistoryPanel();
    resumeAskSession(id);
}

void AppDelegate::resumeAskSession(const QString& id) {
    askHistory.loadAskHistory(chat.get(), [this, id](const AskHistoryEntries& entries) {
        const auto entry = entryWithId(entries, id);
        if (!entry || chat->streaming()) // a question may have been quicker than the file
            return;
        chat->resumeAskSession(*pastConversation(*entry, dispatch.wallClock()), [this] { setMode(true, true); });
        panel->revealTranscript();
    });
}

} // namespace ovalin
