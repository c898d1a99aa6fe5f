#include "PromptWords.h"

#include "Program.h"
#include "PromptMode.h"

#include "capture/CaptureContext.h"
#include "panel/CapturePanel.h"

using namespace Qt::StringLiterals;

namespace ovalin {

PromptWords::PromptWords(Program& theProgram, CapturePanel& thePanel, PromptMode& theMode,
                         const CaptureContext& theContext)
    : program(theProgram)
    , panel(thePanel)
    , mode(theMode)
    , context(theContext) {
    connect(&panel, &CapturePanel::promptEdited, this, &PromptWords::promptEdited);
    connect(&panel, &CapturePanel::promptWalked, this, &PromptWords::recallPrompt);
}

void PromptWords::begin() {
    const NextOpening left = std::exchange(program.next, {});
    if (left.asks)
        mode.choose(true); // as the user had chosen
    if (!left.prompt.isEmpty())
        panel.setPrompt(left.prompt);
    if (!left.status.isEmpty())
        panel.say(left.status);
    program.promptHistory.rewind();
    bringBackUndelivered();
}

void PromptWords::remember() {
    // The one place where a prompt is kept: over a password manager it may hold a secret.
    if (!context.leftAlone)
        program.promptHistory.remember(panel.prompt());
}

void PromptWords::putBack(const QString& text) {
    remember();
    broughtBack.clear(); // it comes back at the next opening
    mode.choose(false);
    panel.setPrompt(text);
    panel.focusPrompt();
    Q_EMIT changed(true);
}

std::optional<Undelivered> PromptWords::takeUndelivered() {
    return program.routedRequests->takeUndelivered(std::exchange(broughtBack, {}));
}

void PromptWords::recallPrompt(bool older) {
    const auto step = older ? PromptHistory::Step::Older : PromptHistory::Step::Newer;
    const auto text = program.promptHistory.recall(step, panel.prompt());
    if (!text)
        return;
    panel.setPrompt(*text);
    Q_EMIT changed(true);
}

void PromptWords::bringBackUndelivered() {
    const auto& waiting = program.routedRequests->undelivered();
    if (waiting.isEmpty() || !panel.prompt().isEmpty())
        return;
    mode.setLocked(true); // it is a request, whatever its wording
    const Undelivered& oldest = waiting.first();
    broughtBack = oldest.item.id;
    // One without an instruction is sent as it is; what is typed in its place is meant for what the screen shows now.
    panel.setPrompt(oldest.item.prompt);
    const QString which = waiting.size() > 1 ? u" (1 of %1)"_s.arg(waiting.size()) : QString();
    panel.say(u"%1 — not sent yet%2: Return sends it, emptied it is dropped"_s.arg(oldest.reason, which));
}

void PromptWords::promptEdited(const QString& text, bool anew) {
    const bool emptied = text.trimmed().isEmpty();
    if (!broughtBack.isEmpty() && (emptied || anew)) {
        mode.setLocked(false);
        panel.say(emptied ? u"dropped — Up brings the words back"_s
                          : u"what was not sent comes back at the next opening"_s);
        const QString id = std::exchange(broughtBack, {});
        if (const auto request = emptied ? program.routedRequests->takeUndelivered(id) : std::nullopt) {
            program.promptHistory.remember(request->item.prompt);
            program.routedRequests->drop(*request);
        }
    }
    Q_EMIT changed(false);
}

} // namespace ovalin
