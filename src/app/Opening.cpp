#include "Opening.h"

#include "Program.h"
#include "ReplaceButton.h"

#include "ask/WebSearch.h"
#include "base/Log.h"
#include "base/Text.h"
#include "capture/LeftAlone.h"
#include "transform/LiteralReplacement.h"
#include "transform/Replacement.h"

#include <QWindow>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto STATUS_SHOWN = 1400ms;
constexpr qsizetype LONGEST_NAME = 100;   // an application gives itself what name it likes
constexpr qsizetype LONGEST_SPOKEN = 200; // of an excerpt, to a screen reader
constexpr auto LONGEST_LOOK = 1200ms;
constexpr auto LONGEST_HELD = 6ms; // an excerpt that comes later makes the panel grow

const QString LEFT_ALONE_NOW = u"this page is left alone — nothing of it is carried along"_s;

// Nobody waits longer for a disk; the words are in the program, and on their way.
constexpr auto LONGEST_KEEPING = 100ms;

AskChat::Sources chatSources(Program& program, const CaptureContext& context) {
    return {
        {program.in.paths.askScript, program.in.agent},
        [script = program.in.paths.searchScript](const QString& question) { return googleSearch(question, script); },
        [&selection = program.selection, &context] {
            return [focus = currentFocus(selection, context)] { return focus().text; };
        },
    };
}

/// The record of what is in front; its selection is asked for already, while the panel is made.
std::shared_ptr<Captured> capturedOf(Program& program, const std::optional<FrontApplication>& front, bool leftAlone) {
    auto captured = std::make_shared<Captured>(program.dispatch, program.selection, program.in.sources);
    CaptureContext& context = captured->context;
    context.selectionViaClipboard = program.next.selectionViaClipboard;
    context.leftAlone = leftAlone;
    if (leftAlone)
        context.capContextMode = u"fetch"_s; // no picture comes, and none is waited for
    const FrontApplication application = leftAlone ? FrontApplication() : front.value_or(FrontApplication());
    const QString name = onOneLine(application.name, LONGEST_NAME);
    context.capApp = name.isEmpty() ? u"Unknown"_s : name;
    context.capBundle = application.bundleId;
    context.capPID = application.pid;
    context.capWindow = application.window;
    captured->pipeline.startSelectionTask();
    return captured;
}

} // namespace

Opening::Opening(Program& theProgram, const std::optional<FrontApplication>& front)
    : program(theProgram)
    , leftAlone(whyLeftAlone(front, program.desktop.workspace.seesAllWindows(), program.in.config.exclude))
    , captured(capturedOf(program, front, !leftAlone.isEmpty()))
    , context(captured->context)
    , panel(program.takePanel())
    , mode(program)
    , words(program, *panel, mode, context)
    , cards(program, *panel)
    , chat(program.dispatch, program.linkVerifier, panel->chatView(), context, chatSources(program, context)) {
    program.panelIsOpen = true;
    const Desktop& desktop = program.desktop;
    if (desktop.microphone && desktop.speechRecognizer)
        dictation = std::make_unique<Dictation>(
            *desktop.microphone, *desktop.speechRecognizer, program.dispatch, *panel,
            [this](bool force) { applyIntentInference(force); },
            program.in.config.punctuation ? [](const QString& text) { return literalReplacement(text).has_value(); }
                                          : std::function<bool(const QString&)>());
    connectPanel();
    connectCapture();
    connectChat();
    show();
}

Opening::~Opening() {
    program.panelIsOpen = false;
    stopRecording();
    chat.closing();
    captured->pipeline.closing();
    program.next.selectionViaClipboard = context.selectionViaClipboard;
    words.remember();
    program.desktop.keyboardHold.letGo();
    program.desktop.primaryGuard.setActive(false);
}

void Opening::connectPanel() {
    panel->setMotion(program.motion);
    connect(panel.get(), &CapturePanel::submitTapped, this, &Opening::sendTapped);
    connect(panel.get(), &CapturePanel::cancelTapped, this, &Opening::closed);
    connect(panel.get(), &CapturePanel::pressed, this, [this] {
        if (!program.desktop.keyboardHold.held())
            holdKeyboard();
    });
    connect(panel.get(), &CapturePanel::promptChanged, this, &Opening::showWhatComes);
    connect(&words, &PromptWords::changed, this, &Opening::applyIntentInference);
    connect(panel.get(), &CapturePanel::modeDoTapped, this, [this] { mode.choose(false); });
    connect(panel.get(), &CapturePanel::modeAskTapped, this, [this] { mode.choose(true); });
    connect(panel.get(), &CapturePanel::replaceTapped, this, &Opening::replaceTapped);
    connect(panel.get(), &CapturePanel::micTapped, this, &Opening::micTapped);
    connect(&mode, &PromptMode::modeSet, this, &Opening::modeSet);
    connect(&cards, &Cards::chosen, this, &Opening::conversationChosen);
    connect(&cards, &Cards::putBack, &words, &PromptWords::putBack);
}

void Opening::connectCapture() {
    const QPointer<Opening> guard(this); // the pipeline may outlive us
    captured->pipeline.updateCaptureUI = [guard](const QString& text) {
        if (guard)
            guard->updateCaptureUI(text);
    };
    captured->pipeline.checkSiteOwnership = [guard](const QString& url) {
        if (guard)
            guard->checkSiteOwnership(url);
    };
    captured->pipeline.applyShotToPendingSubmit = [guard, &lasting = program](const QUuid& token,
                                                                              const QByteArray& shot) {
        if (lasting.routedRequests)
            lasting.routedRequests->applyShotToPendingSubmit(token, shot);
        if (guard)
            guard->sendAwaited();
    };
}

void Opening::connectChat() {
    connect(&chat, &AskChat::said, panel.get(), &CapturePanel::say);
    connect(&chat, &AskChat::answering, panel.get(),
            [this](bool streams) { panel->setBusy(CapturePanel::Busy::Answering, streams); });
    connect(&chat, &AskChat::turnStored, &program.askHistory, &AskHistory::persistAskTurn);
    connect(&chat, &AskChat::evicted, &program.askHistory, &AskHistory::evictAskHistory);
    connect(&chat, &AskChat::unanswered, this, [this](const QString& question) {
        program.next.status = u"closed before it was answered — Return asks it again"_s;
        program.next.prompt = question;
        program.next.asks = true;
    });
    connect(&chat, &AskChat::questionSent, &cards, &Cards::closeHistoryPanel);
}

void Opening::show() {
    mode.setMode(false, false);
    words.begin();
    program.desktop.primaryGuard.setActive(true);
    if (!context.leftAlone && !mode.ask())
        panel->reserveRoom();
    panel->openUnderPointer();
    if (!context.leftAlone) {
        panel->holdFrame();
        program.dispatch.after(LONGEST_HELD, this, [this] { showFrame(); });
    }
    holdKeyboard();
    panel->prepareGlass(); // while the X server maps the window
    panel->announce(u"Ovalin over %1"_s.arg(context.capApp));
}

void Opening::showFrame() {
    panel->showFrame();
    captured->pipeline.startPageTask(); // not beside the first picture, which is to be quick
}

void Opening::holdKeyboard() { program.desktop.keyboardHold.take(*panel->windowHandle()); }

void Opening::startCapture() {
    if (context.leftAlone) {
        panel->say(leftAlone);
        return;
    }
    selectionWatch.emplace(program.desktop.selectionHints, program.dispatch, program.selection, context);
    selectionWatch->updateCaptureUI = [this](const QString& text) { updateCaptureUI(text); };
    selectionWatch->leftAlone = [this] { panel->say(LEFT_ALONE_NOW); };
}

void Opening::updateCaptureUI(const QString& text) {
    panel->announce(text.isEmpty() ? u"nothing selected"_s : u"selected: "_s + firstCharacters(text, LONGEST_SPOKEN));
    context.capText = text;
    panel->showExcerpt(text, mode.ask());
    showPlaceholder();
    showWhatComes();
    showFrame();
}

void Opening::checkSiteOwnership(const QString& url) {
    if (isRemotePage(url)) // no picture will come
        program.dispatch.after(0ms, this, [this] { sendAwaited(); });
    if (!isWebPage(url))
        return;
    program.dispatch.inBackground(
        Queue::UserInitiated, this, [owned = program.in.siteOwned, url] { return owned(url); },
        [this](bool owned) {
            context.capSiteOwned = owned;
            showReplaceButton();
        });
}

void Opening::showReplaceButton() {
    const ReplaceButton button = replaceButtonFor(context, panel->prompt(), mode.ask() || context.leftAlone);
    panel->setReplaceButton(button.title, button.hidden, button.outcome);
}

void Opening::showWhatComes() {
    showReplaceButton();
    const QString alone = u"Return sends the selected text alone"_s;
    const bool applies =
        !mode.ask() && panel->prompt().trimmed().isEmpty() && !panel->excerpt().value_or(QString()).isEmpty();
    if (panel->hint() == (applies ? QString() : alone)) // never over what has been said
        panel->note(applies ? alone : QString());
}

void Opening::showPlaceholder() {
    panel->setPlaceholder(mode.ask()                  ? u"Ask Torvi about this…"_s
                          : context.capText.isEmpty() ? u"What should happen — or type text to insert"_s
                                                      : u"What should Torvi do with this?"_s);
}

void Opening::modeSet(bool byUser) {
    panel->showMode(mode.ask());
    showPlaceholder();
    panel->say(leftAlone);
    showWhatComes();
    if (mode.ask())
        chat.startWarmAsk();
    if (byUser)
        panel->focusPrompt();
}

void Opening::applyIntentInference(bool force) {
    mode.applyIntentInference(panel->prompt(), !context.capText.isEmpty(), force);
}

void Opening::sendWhenSeen() {
    sendsWhenSeen = true;
    program.dispatch.after(LONGEST_LOOK, this, [this] { sendAwaited(); });
}

void Opening::sendAwaited() {
    if (sendsWhenSeen)
        sendTapped();
}

void Opening::sendTapped() {
    sendsWhenSeen = false;
    showFrame(); // the picture goes along
    stopRecording();
    const QString instruction = panel->prompt().trimmed();
    const QString word = instruction.toLower();
    if (chat.streaming() && (word == QLatin1String("/stop") || word == QLatin1String("stop"))) {
        panel->clearPrompt();
        chat.stopAskTurn();
        return;
    }
    if (panel->isBusy(CapturePanel::Busy::Replacing))
        return;
    if (mode.ask())
        sendAsk(instruction);
    else
        sendDo(instruction);
}

void Opening::sendAsk(const QString& question) {
    if (!question.isEmpty() && !chat.streaming() && !context.leftAlone)
        mode.recordIntentCommit(question, true);
    words.remember(); // the field is emptied
    panel->revealTranscript();
    if (chat.sendAskTurn(question))
        panel->clearPrompt();
    if (question.isEmpty())
        return;
    if (const auto asked = words.takeUndelivered())
        program.routedRequests->drop(*asked);
}

void Opening::sendDo(const QString& instruction) {
    if (auto request = words.takeUndelivered()) {
        request->item.prompt = instruction;
        program.routedRequests->resubmit(*request, closeWhenKept());
        return;
    }
    program.submissions->submit(instruction, panel->excerpt(), captured, closeWhenKept());
    if (!instruction.isEmpty() && !context.leftAlone)
        mode.recordIntentCommit(instruction, false);
}

RoutedRequests::Recorded Opening::closeWhenKept() {
    panel->setBusy(CapturePanel::Busy::Replacing, true); // neither Return nor a button counts again
    panel->lockPrompt();
    program.dispatch.after(LONGEST_KEEPING, this, [this] {
        logLine(u"Ovalin: the request is not on the disk after 100 ms — the panel closes before"_s);
        Q_EMIT closed();
    });
    return [guard = QPointer<Opening>(this)] {
        if (guard)
            Q_EMIT guard->closed();
    };
}

void Opening::replaceTapped() {
    if (panel->isBusy(CapturePanel::Busy::Replacing))
        return;
    stopRecording(); // the prompt is read after that
    auto* replacement =
        program.beginReplacement({panel->prompt().trimmed(), context, currentFocus(program.selection, context)}, this);
    panel->setBusy(CapturePanel::Busy::Replacing, true);
    connect(replacement, &Replacement::closing, this, &Opening::closed);
    connect(replacement, &Replacement::said, panel.get(), &CapturePanel::say);
    connect(replacement, &Replacement::failed, this, [this](const QString& message) {
        panel->setBusy(CapturePanel::Busy::Replacing, false);
        panel->say(message);
    });
    connect(replacement, &Replacement::edited, this, [this](const QString& status) {
        panel->say(status);
        program.dispatch.after(STATUS_SHOWN, this, [this] { Q_EMIT closed(); });
    });
}

void Opening::micTapped() {
    if (dictation)
        dictation->micTapped();
    else
        panel->note(u"speech recognizer unavailable"_s);
}

void Opening::stopRecording() {
    if (dictation)
        dictation->stopRecording();
}

void Opening::conversationChosen(const QString& id, bool byReturn) {
    if (chat.streaming()) {
        if (byReturn)
            sendTapped(); // no row opens now, but the prompt may say stop
        return;
    }
    cards.closeHistoryPanel();
    resumeAskSession(id);
}

void Opening::resumeAskSession(const QString& id) {
    program.askHistory.findAskSession(this, id, [this](const std::optional<QJsonObject>& entry) {
        if (!entry || chat.streaming()) // a question may have been quicker than the file
            return;
        chat.resumeAskSession(*pastConversation(*entry, program.dispatch.wallClock()),
                              [this] { mode.setMode(true, true); });
        panel->revealTranscript();
    });
}

} // namespace ovalin
