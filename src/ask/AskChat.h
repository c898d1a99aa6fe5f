#pragma once

#include "ChatProcess.h"
#include "LinkVerifier.h"

#include "capture/CaptureContext.h"
#include "views/ChatView.h"
#include "views/PastConversation.h"

#include <QObject>

#include <functional>
#include <optional>

namespace ovalin {

/// What the conversation store keeps of one question and its answer.
struct AskTurn;

/// The conversation of one opening of the panel: its turns, the agent process that answers them, and what is shown of
/// both. Main thread. Its end ends the process; the owner stores the last turn before that.
class AskChat final : public QObject {
    Q_OBJECT
public:
    struct Sources {
        ChatCommand command;
        std::function<QString(const QString& question)> googleSearch; ///< blocks; called on workers
        std::function<std::function<QString()>()> currentFocus;       ///< makes what reads the selection on a worker
    };

    /// The view, the record and the verifier outlive the chat.
    AskChat(Dispatch& dispatch, LinkVerifier& verifier, ChatView& view, const CaptureContext& context, Sources sources);
    ~AskChat() override;

    void startWarmAsk();
    void stopWarmAsk();

    /// Sends the text as the next question; false, and nothing, while an answer streams or when the text is blank.
    bool sendAskTurn(const QString& prompt);
    /// Cuts a streaming answer short; the next question goes on with the same conversation.
    void stopAskTurn();
    /// Continues a stored conversation. `switchToAsk` is called when the agent is on its way.
    void resumeAskSession(const PastConversation& conversation, const std::function<void()>& switchToAsk);
    /// Stores the turn unless it is stored; a streaming one as interrupted. For the panel's end.
    void closing();

    [[nodiscard]] bool streaming() const { return askStreaming; }

Q_SIGNALS:
    /// What the chat is doing, for a status line; empty: nothing.
    void said(const QString& status);
    /// An answer begins or ends.
    void answering(bool streams);
    void turnStored(const ovalin::AskTurn& turn);
    /// The agent does not know this conversation any more.
    void evicted(const QString& id);
    /// The panel closes over a question of which the agent has not printed a line.
    void unanswered(const QString& question);
    void questionSent();

private:
    struct Turn;

    void askAbout(const std::shared_ptr<Turn>& turn);
    void writeAskMessage(const std::shared_ptr<Turn>& turn);
    [[nodiscard]] bool isCurrent(const std::shared_ptr<Turn>& turn) const { return turn == current && askStreaming; }
    void startTorviTurn();
    void appendTorviDelta(const QString& text);
    void answerGoesOn(const QString& text);
    void endTorviTurn(const QString& error);
    void linkAnswer(const AnswerLinks& links);
    void handleEvent(const StreamEvent& event);
    void handleResult(const StreamEvent& event);
    void takeBack(qsizetype length);
    void startFresh();
    void processEnded();
    void undelivered(ChatProcess::Wrote why);
    void persistAskTurn();
    void linksChecked();
    void setAskStatus(const QString& text);

    Dispatch& dispatch;
    LinkVerifier& verifier;
    ChatView& view;
    const CaptureContext& context;
    const Sources sources;
    ChatProcess process;

    bool askStreaming = false;
    bool firstAskTurn = true;
    std::optional<QString> askSessionId;
    std::optional<QString> askResumeId;
    std::optional<QString> askFirstQuestion;
    QString userTurnText;
    QString torviTurnText;
    bool askTurnInterrupted = false;
    bool askTurnPersisted = true;

    bool agentIsMissing = false;
    bool agentKnowsUs = false;     ///< the running process has begun an answer: it has not refused to resume
    std::shared_ptr<Turn> current; ///< what comes late for an older one is dropped
    QString saidSoFar;             ///< of an answer cut short, to be told with the next question
    QString askStatus;
    int answersBegun = 0; ///< on the view, which shows links in the last one alone
    bool answerTooLong = false;
    qsizetype confirmedLength = 0; ///< of the answer: what lies behind it may still become void
};

} // namespace ovalin
