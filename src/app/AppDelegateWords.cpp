// The flows of AppDelegate that keep typed words: past prompts, and requests that could not be handed over.
#include "AppDelegate.h"

#include "base/Log.h"

namespace ovalin {

namespace {

using namespace std::chrono_literals;

// Nobody waits longer for a disk; the words are in the program, and on their way.
constexpr auto LONGEST_KEEPING = 100ms;

} // namespace

RoutedRequests::Recorded AppDelegate::closeWhenKept() {
    handingOver = true;
    panel->setBusy(CapturePanel::Busy::Replacing, true); // neither Return nor a button counts again
    panel->lockPrompt();
    dispatch.after(LONGEST_KEEPING, this, [this, token = context.captureToken] {
        if (!handingOver || token != context.captureToken)
            return;
        logLine(QStringLiteral("Ovalin: the request is not on the disk after 100 ms — the panel closes before"));
        closePanel();
    });
    return [this, token = context.captureToken] {
        if (handingOver && token == context.captureToken)
            closePanel();
    };
}

void AppDelegate::rememberPrompt() {
    // The one place where a prompt is kept: what must not be remembered is held back here.
    promptHistory.remember(panel->prompt());
}

void AppDelegate::recallPrompt(PromptHistory::Step step) {
    const auto text = promptHistory.recall(step, panel->prompt());
    if (!text)
        return;
    panel->setPrompt(*text);
    applyIntentInference(true);
}

void AppDelegate::bringBackUndelivered() {
    const auto& waiting = routedRequests->undelivered();
    if (waiting.isEmpty() || !panel->prompt().isEmpty())
        return;
    modeLockedByUser = true; // it is a request, whatever its wording
    const Undelivered& oldest = waiting.first();
    broughtBack = oldest.item.id;
    panel->setPrompt(oldest.item.prompt);
    // One without an instruction is sent as it is; what is typed in its place is meant for what the screen shows now.
    const QString which = waiting.size() > 1 ? QStringLiteral(" (1 of %1)").arg(waiting.size()) : QString();
    setStatus(
        QStringLiteral("%1 — not sent yet%2: Return sends it with what it was about, in %3; emptied, it is dropped")
            .arg(oldest.reason, which, oldest.item.sourceApp));
}

void AppDelegate::promptEdited(const QString& text, bool anew) {
    const bool emptied = text.trimmed().isEmpty();
    if (!broughtBack.isEmpty() && (emptied || anew)) {
        const QString id = std::exchange(broughtBack, {});
        modeLockedByUser = false;
        setStatus(emptied ? QStringLiteral("dropped — Up brings the words back")
                          : QStringLiteral("what was not sent comes back at the next opening"));
        if (const auto request = emptied ? routedRequests->takeUndelivered(id) : std::nullopt) {
            promptHistory.remember(request->item.prompt);
            routedRequests->drop(*request);
        }
    }
    applyIntentInference(false);
}

void AppDelegate::told(const RequestNews& news) {
    if (!news.hint.isEmpty())
        nextOpeningStatus = news.hint;
    if (!news.title.isEmpty())
        desktop.notifier.notify({news.title, news.body, {}, {}});
}

} // namespace ovalin
