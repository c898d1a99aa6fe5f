// The flows of AppDelegate that concern the conversation with the agent.
#include "AppDelegate.h"

#include "ask/WebSearch.h"

namespace ovalin {

void AppDelegate::openChat() {
    AskChat::Sources sources{
        {paths.askScript, AgentSearch::under(paths.home)},
        [script = paths.searchScript](const QString& question) { return googleSearch(question, script); },
        [this] { return [focus = currentFocus()] { return focus().text; }; },
    };
    chat = std::make_unique<AskChat>(dispatch, linkVerifier, panel->chatView(), context, std::move(sources));
    connect(chat.get(), &AskChat::said, panel.get(), &CapturePanel::say);
    connect(chat.get(), &AskChat::answering, panel.get(),
            [this](bool streams) { panel->setBusy(CapturePanel::Busy::Answering, streams); });
    connectChatToHistory();
}

void AppDelegate::closeChat() {
    if (!chat)
        return;
    chat->closing();
    chat.reset();
}

void AppDelegate::giveBack(const QString& question) {
    nextOpeningPrompt = question;
    nextOpeningStatus = QStringLiteral("closed before it was answered — Return asks it again");
    nextOpeningAsks = true;
}

void AppDelegate::sendAsk(const QString& question) {
    if (!question.isEmpty() && !chat->streaming())
        recordIntentCommit(question, true);
    rememberPrompt(); // the field is emptied
    panel->revealTranscript();
    if (chat->sendAskTurn(question))
        panel->clearPrompt();
}

} // namespace ovalin
