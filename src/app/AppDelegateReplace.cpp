// The flows of AppDelegate behind the button that reads Replace or Insert.
#include "AppDelegate.h"

#include "base/Log.h"
#include "base/Text.h"
#include "transform/InsertJob.h"
#include "transform/LiteralReplacement.h"
#include "transform/TransformJob.h"

#include <chrono>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto STATUS_SHOWN = 1400ms;

} // namespace

// What the button's press found. The record may belong to the next opening by the time a job has ended.
struct AppDelegate::ReplacePress {
    QUuid token;
    QString instruction;
    QString app;
    QString bundle;
    std::optional<QString> url;
    ReplaceTarget target;
    Keyboard::PasteTarget window;
};

void AppDelegate::replaceTapped() {
    if (!panel || !panel->replaceBtnRef->isEnabled())
        return;
    stopRecording(); // the prompt is read after that
    const ReplacePress press{
        context.captureToken,   panel->promptField->text().trimmed(), context.capApp, context.capBundle, context.capURL,
        replaceTarget(context), {context.capPID, context.capWindow}};
    setSubmitting(true);
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [focus = currentFocus(), press] {
            SelectedText selected = focus();
            const auto is = [&](ReplaceTarget target) { return press.target == target ? 1 : 0; };
            logLine(QStringLiteral("Ovalin replace: bundle=%1 torvi=%2 quarn=%3 file=%4 web=%5 selLen=%6 instr=%7")
                        .arg(press.bundle)
                        .arg(is(ReplaceTarget::Torvi))
                        .arg(is(ReplaceTarget::Quarn))
                        .arg(is(ReplaceTarget::File))
                        .arg(is(ReplaceTarget::Web))
                        .arg(characterCount(selected.text))
                        .arg(press.instruction));
            return selected;
        },
        [this, press](const SelectedText& selected) {
            ReplacePress inWindow = press;
            if (selected.window != 0)
                inWindow.window.window = selected.window;
            replaceSelection(inWindow, selected.text);
        });
}

void AppDelegate::replaceSelection(const ReplacePress& press, const QString& selected) {
    if (!panel || press.token != context.captureToken)
        return; // closed before anything was begun
    const bool insert = selected.isEmpty();
    if (press.instruction.isEmpty()) {
        replaceFailed(insert ? QStringLiteral("type the text to insert first")
                             : QStringLiteral("type how to transform it first"));
        return;
    }
    if (insert && editsSource(press.target)) {
        replaceFailed(QStringLiteral("select the text to replace first"));
        return;
    }
    setStatus(insert ? QStringLiteral("inserting…") : QStringLiteral("replacing…"));
    if (!editsSource(press.target)) {
        if (const auto text = literalReplacement(press.instruction)) {
            pasteOver(press, *text);
            return;
        }
    }
    if (insert) {
        insertGenerated(press);
        return;
    }
    dispatch.inBackground(
        Queue::Jobs, this,
        [transform = TransformJob{press.target, press.instruction, selected, press.app, press.url}, job = agentJob()] {
            return runTransform(transform, job);
        },
        [this, press](const JobEnd& end) { jobEnded(press, end); });
}

void AppDelegate::insertGenerated(const ReplacePress& press) {
    dispatch.inBackground(
        Queue::Jobs, this,
        [insert = InsertJob{press.instruction, press.app, press.url}, job = agentJob()] {
            return runInsert(insert, job);
        },
        [this, press](const JobEnd& end) { jobEnded(press, end); });
}

void AppDelegate::jobEnded(const ReplacePress& press, const JobEnd& end) {
    if (programEnds.stop_requested())
        return;
    if (end.kind == JobEnd::Kind::Text) {
        pasteOver(press, end.text);
        return;
    }
    if (press.token != context.captureToken)
        return; // the panel on the screen is about something else
    if (end.kind == JobEnd::Kind::Failed) {
        replaceFailed(end.text);
        return;
    }
    setStatus(end.text);
    dispatch.after(STATUS_SHOWN, this, [this, token = press.token] {
        if (token == context.captureToken)
            closePanel();
    });
}

void AppDelegate::pasteOver(const ReplacePress& press, const QString& text) {
    if (panel && press.token != context.captureToken) {
        // A later opening's panel has the keyboard, and what is typed in it is not for us to close.
        paste.leaveOnClipboard(text,
                               QStringLiteral("It was done while you had opened Ovalin again: paste it yourself."));
        return;
    }
    closePanel();
    paste.pasteOverSelection(text, press.window);
}

void AppDelegate::replaceFailed(const QString& message) {
    setSubmitting(false);
    setStatus(message);
}

void AppDelegate::setSubmitting(bool submitting) {
    if (!panel)
        return;
    panel->sendBtnRef->setEnabled(!submitting);
    panel->replaceBtnRef->setEnabled(!submitting);
}

AgentJob AppDelegate::agentJob() const {
    return {paths.binDir, AgentSearch::under(paths.home), programEnds.get_token()};
}

} // namespace ovalin
