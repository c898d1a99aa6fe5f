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
constexpr double A_MOMENT = 0.3; // seconds; what takes longer is not pasted without a second look

/// Whether what is in the application now is still what it was when the button was pressed, as far as it says.
std::optional<NotPasted> changed(const SelectedText& before, const SelectedText& now) {
    const bool focusKnown = before.focus != FocusKind::Unknown && now.focus != FocusKind::Unknown;
    if ((focusKnown && before.focus != now.focus) || (before.window && now.window && before.window != now.window))
        return NotPasted::Elsewhere;
    if (now.source != SelectedText::Source::Nobody && now.text.simplified() != before.text.simplified())
        return NotPasted::SelectionChanged;
    return {};
}

} // namespace

// What the button's press found. The record may belong to the next opening by the time a job has ended.
struct AppDelegate::ReplacePress {
    QUuid token;
    QString instruction;
    QString app;
    QString bundle;
    std::optional<QString> url;
    ReplaceTarget target;
    SelectionTarget opening;
    quint32 front = 0; ///< X11 window that the user worked in
    // Known once the selection has been read.
    SelectedText selected{};
    PasteWay way{};
    double readAt = 0; ///< Dispatch's clock

    /// The window that the selection came from, which is not always the one that was in front.
    [[nodiscard]] AppWindow window() const {
        return {opening.at.pid, selected.window ? selected.window : opening.at.window};
    }
};

quint32 AppDelegate::frontWindow() {
    const auto front = desktop.workspace.frontmostApplication();
    return front ? front->window : 0;
}

void AppDelegate::replaceTapped() {
    if (!panel || panel->isBusy(CapturePanel::Busy::Replacing))
        return;
    stopRecording(); // the prompt is read after that
    const ReplacePress press{
        context.captureToken,   panel->prompt().trimmed(), context.capApp, context.capBundle, context.capURL,
        replaceTarget(context), context.selectionTarget(), frontWindow()};
    setReplacing(true);
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [&keyboard = desktop.keyboard, &clock = dispatch, focus = currentFocus(), press] {
            ReplacePress found = press;
            found.selected = focus();
            if (!editsSource(press.target))
                found.way = keyboard.pasteWay(found.window(), found.selected.focus, !found.selected.text.isEmpty());
            found.readAt = clock.now();
            const auto is = [&](ReplaceTarget target) { return press.target == target ? 1 : 0; };
            logLine(QStringLiteral("Ovalin replace: bundle=%1 torvi=%2 quarn=%3 file=%4 web=%5 selLen=%6 instr=%7")
                        .arg(press.bundle)
                        .arg(is(ReplaceTarget::Torvi))
                        .arg(is(ReplaceTarget::Quarn))
                        .arg(is(ReplaceTarget::File))
                        .arg(is(ReplaceTarget::Web))
                        .arg(characterCount(found.selected.text))
                        .arg(press.instruction));
            return found;
        },
        [this](const ReplacePress& found) { replaceSelection(found); });
}

QString AppDelegate::whyNotReplace(const ReplacePress& press) {
    const bool insert = press.selected.text.isEmpty();
    if (press.instruction.isEmpty())
        return insert ? QStringLiteral("type the text to insert first")
                      : QStringLiteral("type how to transform it first");
    if (editsSource(press.target))
        return insert ? QStringLiteral("select the text to replace first") : QString();
    if (!press.way.safe())
        return press.way.refusal.isEmpty() ? QStringLiteral("no key is safe there: nothing was begun")
                                           : press.way.refusal;
    // A key goes before the paste there, which without a selection would delete something else.
    if (press.way.before != PasteWay::Before::Nothing && press.selected.source != SelectedText::Source::Primary)
        return QStringLiteral("select the text there again first");
    return {};
}

void AppDelegate::replaceSelection(const ReplacePress& press) {
    if (!panel || press.token != context.captureToken)
        return; // closed before anything was begun
    if (const QString why = whyNotReplace(press); !why.isEmpty()) {
        replaceFailed(why);
        return;
    }
    const bool insert = press.selected.text.isEmpty();
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
        [transform = TransformJob{press.target, press.instruction, press.selected.text, press.app, press.url},
         job = agentJob()] { return runTransform(transform, job); },
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
    if (!mayPaste(press, text))
        return;
    if (dispatch.now() - press.readAt <= A_MOMENT) {
        pasteNow(press, text);
        return;
    }
    dispatch.inBackground(
        Queue::UserInitiated, this, [this, press] { return selection.axSelection(press.opening); },
        [this, press, text](const SelectedText& now) {
            if (!mayPaste(press, text))
                return;
            if (const auto why = changed(press.selected, now)) {
                closePanel();
                paste.leaveOnClipboard(text, press.app, *why);
            } else {
                pasteNow(press, text);
            }
        });
}

bool AppDelegate::mayPaste(const ReplacePress& press, const QString& text) {
    if (panel && press.token == context.captureToken && frontWindow() == press.front)
        return true;
    NotPasted why = NotPasted::Closed;
    if (panel && press.token != context.captureToken) {
        why = NotPasted::OpenedAgain; // its panel has the keyboard, and what is typed in it is not for us to close
    } else if (panel) {
        why = NotPasted::Elsewhere;
        closePanel();
    }
    paste.leaveOnClipboard(text, press.app, why);
    return false;
}

void AppDelegate::pasteNow(const ReplacePress& press, const QString& text) {
    closePanel();
    paste.pasteOverSelection({text, press.app, press.window(), press.way, press.selected.text});
}

void AppDelegate::replaceFailed(const QString& message) {
    setReplacing(false);
    setStatus(message);
}

void AppDelegate::setReplacing(bool replacing) {
    if (panel)
        panel->setBusy(CapturePanel::Busy::Replacing, replacing);
}

AgentJob AppDelegate::agentJob() const {
    return {paths.binDir, AgentSearch::under(paths.home), programEnds.get_token()};
}

} // namespace ovalin
