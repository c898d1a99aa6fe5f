#include "AskChat.h"

#include "AskMessage.h"
#include "OpenLink.h"
#include "WebSearch.h"

#include "base/AgentLine.h"
#include "history/AskHistoryEntries.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using Kind = StreamEvent::Kind;
using Outcome = StreamEvent::Outcome;

// So much text that does not show yet holds the agent up: it writes faster than anybody reads.
constexpr qsizetype MOST_BACKLOG = qsizetype{1} << 16;
constexpr qsizetype LONGEST_ANSWER = qsizetype{1} << 18; // UTF-16 units; a long one of the agent has half as many

const QString CHECKING_LINKS = u"checking links…"_s;

AnswerLinks linksOf(const QString& answer) { return {attributedAnswer(answer), extractLinkPairs(answer)}; }

QString bracketed(const QString& text) { return u"\n["_s + text + QLatin1Char(']'); }

} // namespace

// One question on its way to the agent: what is asked of others for it comes in any order.
struct AskChat::Turn {
    QString question;
    AskPreamble preamble;
    std::optional<QString> selection, searchResults;
    bool askedAgain = false;           // in a fresh conversation
    bool heard = false, begun = false; // a line of the agent has come; text or the use of a tool

    [[nodiscard]] bool complete() const { return selection && searchResults; }
};

AskChat::AskChat(Dispatch& theDispatch, LinkVerifier& theVerifier, ChatView& theView, const CaptureContext& theContext,
                 Sources theSources)
    : dispatch(theDispatch)
    , verifier(theVerifier)
    , view(theView)
    , context(theContext)
    , sources(std::move(theSources))
    , process(dispatch, sources.command) {
    connect(&process, &ChatProcess::arrived, this, &AskChat::handleEvent);
    connect(&process, &ChatProcess::ended, this, &AskChat::processEnded);
    connect(&process, &ChatProcess::undelivered, this, &AskChat::undelivered);
    connect(&process, &ChatProcess::agentMissing, this, [this] {
        agentIsMissing = true;
        setAskStatus(agentMissingChatMessage());
    });
    view.caughtUp = [this] { process.setPaused(false); };
    view.linkClicked = [this](const QString& target) {
        openLink(dispatch, this, target, [this](const QString& problem) { setAskStatus(problem); });
    };
}

AskChat::~AskChat() {
    view.caughtUp = {};
    view.linkClicked = {};
}

void AskChat::startWarmAsk() {
    if (!process.startWarmAsk(askResumeId))
        return;
    firstAskTurn = true;
    agentIsMissing = false;
    agentKnowsUs = false;
}

void AskChat::stopWarmAsk() {
    askStreaming = false;
    process.stopWarmAsk();
}

bool AskChat::sendAskTurn(const QString& prompt) {
    const QString question = prompt.trimmed();
    if (askStreaming || question.isEmpty())
        return false;
    Q_EMIT questionSent();
    userTurnText = question;
    if (!askFirstQuestion)
        askFirstQuestion = question;
    if (!process.alive())
        startWarmAsk();

    auto turn = std::make_shared<Turn>();
    current = turn;
    turn->question = question;
    if (std::exchange(firstAskTurn, false))
        turn->preamble = askPreamble(context);
    view.appendTranscript(Speaker::You, question);
    startTorviTurn();
    askStreaming = true;
    setAskStatus(u"searching…"_s);
    askAbout(turn);
    return true;
}

void AskChat::askAbout(const std::shared_ptr<Turn>& turn) {
    const auto whenAllIsThere = [this, turn] {
        if (turn->complete() && isCurrent(turn))
            writeAskMessage(turn);
    };
    dispatch.inBackground(Queue::UserInitiated, this, sources.currentFocus(),
                          [turn, whenAllIsThere](const QString& selection) {
                              turn->selection = selection;
                              whenAllIsThere();
                          });
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [search = sources.googleSearch, question = turn->question] { return search(question); },
        [turn, whenAllIsThere](const QString& results) {
            turn->searchResults = results;
            whenAllIsThere();
        });
}

void AskChat::writeAskMessage(const std::shared_ptr<Turn>& turn) {
    if (!turn->askedAgain) // then it says so
        setAskStatus(u"Torvi is thinking…"_s);
    AskMessage message{askMessage(turn->preamble.parts, *turn->selection,
                                  groundingBlock(turn->question, *turn->searchResults), turn->question),
                       turn->preamble.attachShot ? context.capShot : std::nullopt, saidSoFar};
    // With a screenshot the line is megabytes long.
    dispatch.inBackground(
        Queue::UserInitiated, this, [message = std::move(message)] { return askMessageLine(message); },
        [this, turn, inSession = process.number()](std::optional<QByteArray> line) {
            if (!isCurrent(turn) || inSession != process.number())
                return;
            if (!line) {
                endTorviTurn(u"could not encode the question"_s);
                return;
            }
            saidSoFar.clear();
            if (const auto wrote = process.write(std::move(*line)); wrote != ChatProcess::Wrote::Queued)
                undelivered(wrote);
        });
}

void AskChat::undelivered(ChatProcess::Wrote why) {
    if (!askStreaming)
        return;
    endTorviTurn(why == ChatProcess::Wrote::NoProcess ? u"Torvi's chat process isn't running"_s
                                                      : u"could not reach Torvi's chat process"_s);
    if (agentIsMissing)
        setAskStatus(agentMissingChatMessage());
}

void AskChat::startTorviTurn() {
    ++answersBegun;
    view.beginAnswer();
    torviTurnText.clear();
    confirmedLength = 0;
    answerTooLong = false;
    askTurnPersisted = false;
    askTurnInterrupted = false;
    setAskStatus(u"Torvi is thinking…"_s);
    Q_EMIT answering(true);
}

void AskChat::appendTorviDelta(const QString& text) {
    torviTurnText += text;
    view.appendAnswer(text);
    if (askStreaming)
        setAskStatus({});
    if (view.backlog() > MOST_BACKLOG)
        process.setPaused(true);
}

// Nobody reads more, and every look at all of it holds up the panel.
void AskChat::answerGoesOn(const QString& text) {
    const qsizetype room = std::max<qsizetype>(LONGEST_ANSWER - torviTurnText.size(), 0);
    if (!answerTooLong && text.size() <= room)
        appendTorviDelta(text);
    else if (!std::exchange(answerTooLong, true))
        appendTorviDelta(text.left(room) + bracketed(u"the rest is too long to be shown"_s));
}

void AskChat::takeBack(qsizetype length) {
    answerTooLong = false;
    torviTurnText.truncate(length);
    view.truncateAnswer(length);
}

void AskChat::endTorviTurn(const QString& error) {
    const bool wasStreaming = std::exchange(askStreaming, false);
    if (!error.isEmpty())
        appendTorviDelta(bracketed(error));
    Q_EMIT answering(false); // what is appended later is not read out
    if (error.isEmpty() && !wasStreaming) {
        setAskStatus({});
        return;
    }
    setAskStatus(torviTurnText.contains(u"]("_s) ? CHECKING_LINKS : QString());
    dispatch.inBackground(
        Queue::UserInitiated, this, [answer = torviTurnText] { return linksOf(answer); },
        [this, number = answersBegun](const AnswerLinks& links) {
            if (number == answersBegun) // else what they are in is no longer the last answer
                linkAnswer(links);
        });
}

void AskChat::linkAnswer(const AnswerLinks& links) {
    view.linkify(links.spans);
    if (links.pairs.empty()) {
        linksChecked();
        return;
    }
    const QString pageHost = QUrl(context.capURL.value_or(QString())).host();
    verifier.verifyURLs(links.pairs, pageHost, [this, guard = QPointer<QObject>(this)](const ReplacementTable& table) {
        if (!guard)
            return;
        view.repairLinks(table);
        linksChecked();
    });
}

void AskChat::linksChecked() {
    if (askStatus == CHECKING_LINKS)
        setAskStatus({});
}

void AskChat::setAskStatus(const QString& text) {
    askStatus = text;
    Q_EMIT said(text);
}

void AskChat::stopAskTurn() {
    if (!askStreaming)
        return;
    const auto session = askSessionId;
    askTurnInterrupted = true;
    if (!torviTurnText.isEmpty())
        saidSoFar = torviTurnText;
    appendTorviDelta(bracketed(u"stopped"_s));
    persistAskTurn();
    endTorviTurn({});
    stopWarmAsk();
    askResumeId = isSessionId(session) ? session : std::nullopt;
    startWarmAsk();
    setAskStatus(u"stopped — ask again to pick up where it left off"_s);
}

void AskChat::handleEvent(const StreamEvent& event) {
    if (event.kind != Kind::Session && event.kind != Kind::Result)
        agentKnowsUs = true;
    if (askStreaming && event.kind != Kind::Result) {
        current->heard = true;
        current->begun |= event.kind == Kind::Status || event.kind == Kind::Delta || event.kind == Kind::BlockText;
    }
    switch (event.kind) {
    case Kind::Session:
        askSessionId = event.text;
        break;
    case Kind::Status:
        if (askStreaming)
            setAskStatus(event.text);
        break;
    case Kind::Delta:
        answerGoesOn(event.text);
        break;
    case Kind::MessageStart: // the connection was lost in mid message: the agent says it all again
        if (askStreaming)
            takeBack(confirmedLength);
        break;
    case Kind::BlockText:
        if (askStreaming && !answerTooLong && torviTurnText.size() > confirmedLength &&
            QStringView(torviTurnText).mid(confirmedLength) != event.text) {
            takeBack(confirmedLength);
            answerGoesOn(event.text);
        }
        confirmedLength = torviTurnText.size();
        break;
    case Kind::Continued:
        confirmedLength = torviTurnText.size();
        break;
    case Kind::Result:
        handleResult(event);
        break;
    }
}

void AskChat::handleResult(const StreamEvent& event) {
    if (event.outcome == Outcome::Success) {
        const bool empty = askStreaming && torviTurnText.trimmed().isEmpty();
        persistAskTurn();
        endTorviTurn({});
        if (empty)
            setAskStatus(u"Torvi's answer is empty"_s);
        return;
    }
    // An agent that only could not answer this once still knows the conversation.
    if (event.outcome == Outcome::Failed && askResumeId && (askStreaming || !agentKnowsUs)) {
        startFresh();
        return;
    }
    if (askStreaming)
        appendTorviDelta(bracketed(event.text.isEmpty() ? u"Torvi hit an error."_s : event.text));
    endTorviTurn({});
}

// The agent does not know the conversation that it was to continue. A question that it has done nothing about yet
// becomes the first of another one.
void AskChat::startFresh() {
    Q_EMIT evicted(*askResumeId);
    askResumeId.reset();
    askSessionId.reset();
    askFirstQuestion.reset();
    saidSoFar.clear();
    const bool askAgain = askStreaming && !current->begun;
    process.stopWarmAsk();
    startWarmAsk();
    if (askAgain) {
        askFirstQuestion = current->question;
        current->preamble = askPreamble(context);
        current->askedAgain = true;
        firstAskTurn = false;
        current->heard = false;
    } else {
        askTurnPersisted = true;
        if (askStreaming)
            endTorviTurn({});
    }
    setAskStatus(u"couldn't resume that conversation — starting fresh"_s);
    if (askAgain && current->complete())
        writeAskMessage(current);
}

void AskChat::processEnded() {
    if (askStreaming)
        endTorviTurn(u"Torvi's chat process ended"_s);
}

void AskChat::resumeAskSession(const PastConversation& conversation, const std::function<void()>& switchToAsk) {
    stopWarmAsk();
    askResumeId = conversation.id;
    askSessionId = conversation.id;
    askTurnPersisted = true; // of the conversation before
    askFirstQuestion = conversation.first;
    saidSoFar = conversation.unfinished;
    startWarmAsk();
    switchToAsk();
    ++answersBegun;
    view.clearConversation();
    for (const PreviewLine& line : conversation.preview)
        view.appendTranscript(line.user ? Speaker::You : Speaker::Torvi, line.text);
    setAskStatus(u"resumed — "_s + conversation.age);
}

void AskChat::closing() {
    if (askStreaming) {
        askTurnInterrupted = true;
        if (!torviTurnText.isEmpty())
            saidSoFar = torviTurnText;
        if (!current->heard)
            Q_EMIT unanswered(current->question);
    }
    persistAskTurn();
}

void AskChat::persistAskTurn() {
    if (askTurnPersisted || !askSessionId || userTurnText.isEmpty())
        return;
    askTurnPersisted = true;
    Q_EMIT turnStored({*askSessionId, context.capApp, askFirstQuestion, userTurnText, torviTurnText, askTurnInterrupted,
                       askTurnInterrupted ? saidSoFar : QString()});
}

} // namespace ovalin
