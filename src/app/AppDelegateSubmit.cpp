// The flows of AppDelegate that begin in the prompt field: mode, prediction and Submit.
#include "AppDelegate.h"

#include "base/AgentCli.h"
#include "base/Log.h"
#include "intent/CommitLog.h"
#include "intent/ModeInference.h"

#include <algorithm>

namespace ovalin {

// A Do request whose excerpt is still being read from the application. It keeps what its own opening captured: the
// record may belong to the next opening by the time the excerpt is there.
struct AppDelegate::Delivery {
    QUuid token;
    QueueItem item; ///< with the excerpt as far as it is known
    RequestShot shot;
    RoutedRequests::Recorded recorded;
};

void AppDelegate::setMode(bool ask, bool byUser) {
    askMode = ask;
    if (!panel)
        return;
    panel->showMode(ask);
    syncReplaceButton(context.capText, ask);
    showPlaceholder();
    setStatus({});
    if (ask)
        chat->startWarmAsk();
    if (byUser)
        panel->focusPrompt();
}

void AppDelegate::showPlaceholder() {
    panel->setPlaceholder(askMode                     ? QStringLiteral("Ask Torvi about this…")
                          : context.capText.isEmpty() ? QStringLiteral("What should happen — or type text to insert")
                                                      : QStringLiteral("What should Torvi do with this?"));
}

void AppDelegate::modeDoTapped() {
    modeLockedByUser = true;
    setMode(false, true);
}

void AppDelegate::modeAskTapped() {
    modeLockedByUser = true;
    setMode(true, true);
}

void AppDelegate::applyIntentInference(bool force) {
    if (!panel)
        return;
    const ModeState state{askMode, modeLockedByUser, !context.capText.isEmpty()};
    const auto inference = inferMode(panel->prompt(), force, state, intentLexicon);
    if (!inference)
        return;
    lastPredicted = inference->predicted;
    if (inference->askMode)
        setMode(*inference->askMode, false);
}

void AppDelegate::recordIntentCommit(const QString& prompt, bool committedAsk) {
    const auto commit = intentCommit(prompt, committedAsk, lastPredicted, modeLockedByUser);
    if (!commit)
        return;
    intentLexicon.record(commit->head, committedAsk);
    dispatch.run(Queue::Files,
                 [lexicon = intentLexicon, commit = *commit, time = dispatch.wallClock(), folder = paths.systemDir] {
                     lexicon.save(IntentLexicon::storePath(folder));
                     logCommit(commitLogPath(folder), commit, time);
                 });
}

void AppDelegate::sendTapped() {
    if (!panel)
        return;
    stopRecording();
    const QString instruction = panel->prompt().trimmed();
    const QString word = instruction.toLower();
    if (chat->streaming() && (word == QLatin1String("/stop") || word == QLatin1String("stop"))) {
        panel->clearPrompt();
        chat->stopAskTurn();
        return;
    }
    if (panel->isBusy(CapturePanel::Busy::Replacing))
        return;
    if (askMode) {
        sendAsk(instruction);
        if (!instruction.isEmpty()) {
            if (const auto asked = routedRequests->takeUndelivered(std::exchange(broughtBack, {})))
                routedRequests->drop(*asked);
        }
        return;
    }
    if (auto request = routedRequests->takeUndelivered(std::exchange(broughtBack, {}))) {
        request->item.prompt = instruction;
        routedRequests->resubmit(*request, closeWhenKept());
        return;
    }
    // Nothing is read in the place of an excerpt that the user emptied.
    submitDo(instruction, panel->excerpt());
}

void AppDelegate::submitDo(const QString& instruction, const std::optional<QString>& excerpt) {
    const RequestContext request{context.capApp, context.capBundle, context.capURL, context.capTitle,
                                 context.capContextMode};
    auto delivery = std::make_shared<Delivery>(
        Delivery{context.captureToken,
                 makeQueueItem(instruction, excerpt.value_or(context.capText), request, dispatch.wallClock()),
                 {context.capShotB64, context.capShotText},
                 closeWhenKept()});
    if (excerpt) {
        deliver(*delivery);
    } else {
        // Asking the application may take a quarter of a second, for which the panel does not stay.
        deliveries.push_back(delivery);
        if (!instruction.isEmpty())
            routedRequests->record(delivery->item, delivery->recorded);
        dispatch.inBackground(Queue::UserInitiated, this, currentFocus(), [this, delivery](const SelectedText& live) {
            delivery->item.text = live.text;
            if (std::erase(deliveries, delivery) > 0)
                deliver(*delivery);
        });
    }
    if (!instruction.isEmpty())
        recordIntentCommit(instruction, false);
}

void AppDelegate::deliver(const Delivery& delivery) {
    if (!routedRequests)
        return;
    if (delivery.item.prompt.isEmpty() && delivery.item.text.isEmpty())
        delivery.recorded(); // nothing to keep
    else
        routedRequests->submit(delivery.item, delivery.token, delivery.shot, delivery.recorded);
}

void AppDelegate::applyShotToPendingSubmit(const QUuid& token, const QString& shotB64) {
    const bool current = token == context.captureToken;
    for (const auto& delivery : deliveries) {
        if (delivery->token == token)
            delivery->shot.base64 = shotB64;
    }
    if (routedRequests)
        routedRequests->applyShotToPendingSubmit(token, shotB64, current ? context.capShotText : std::nullopt);
}

void AppDelegate::applicationWillTerminate() {
    closePanel();
    programEnds.request_stop();
    for (const auto& delivery : std::exchange(deliveries, {}))
        deliver(*delivery);
    routedRequests.reset(); // finalises what still waits for its screenshot
}

} // namespace ovalin
