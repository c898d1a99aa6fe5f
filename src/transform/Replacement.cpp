#include "Replacement.h"

#include "InsertJob.h"
#include "LiteralReplacement.h"
#include "TransformJob.h"

#include "base/Log.h"
#include "base/Text.h"

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr double A_MOMENT = 0.3; // seconds; what takes longer is not pasted without a second look

/// Whether what is in the application now is still what it was when the button was pressed, as far as it says.
std::optional<NotPasted> changed(const SelectedText& before, const SelectedText& now) {
    if (now.leftAlone)
        return NotPasted::Elsewhere;
    const bool focusKnown = before.focus != FocusKind::Unknown && now.focus != FocusKind::Unknown;
    if ((focusKnown && before.focus != now.focus) || (before.window && now.window && before.window != now.window))
        return NotPasted::Elsewhere;
    if (now.source != SelectedText::Source::Nobody && now.text.simplified() != before.text.simplified())
        return NotPasted::SelectionChanged;
    return {};
}

} // namespace

struct Replacement::Found {
    SelectedText selected;
    AppWindow window; ///< that the selection came from, which is not always the one that was in front
    PasteWay way;
    double readAt = 0; ///< Dispatch's clock

    [[nodiscard]] bool insert() const { return selected.text.isEmpty(); }
};

Replacement::Replacement(Tools theTools, Press thePress, QObject* theOpening, QObject* parent)
    : QObject(parent)
    , tools(std::move(theTools))
    , press(std::move(thePress))
    , target(replaceTarget(press.context))
    , opening(theOpening)
    , front(frontWindow()) {
    tools.dispatch.inBackground(
        Queue::UserInitiated, this, [what = press, where = target, with = tools] { return look(what, where, with); },
        [this](Found result) {
            found = std::make_shared<const Found>(std::move(result));
            begin();
        });
}

Replacement::Found Replacement::look(const Press& press, ReplaceTarget target, const Tools& tools) {
    Found found;
    found.selected = press.currentFocus();
    found.window = {press.context.capPID, found.selected.window ? found.selected.window : press.context.capWindow};
    if (!editsSource(target))
        found.way = tools.desktop.keyboard.pasteWay(found.window, found.selected.focus, !found.insert());
    found.readAt = tools.dispatch.now();
    const auto is = [&](ReplaceTarget each) { return target == each ? 1 : 0; };
    logLine(
        u"Ovalin replace: bundle=%1 torvi=%2 quarn=%3 file=%4 web=%5 selLen=%6 instr=%7"_s.arg(press.context.capBundle)
            .arg(is(ReplaceTarget::Torvi))
            .arg(is(ReplaceTarget::Quarn))
            .arg(is(ReplaceTarget::File))
            .arg(is(ReplaceTarget::Web))
            .arg(characterCount(found.selected.text))
            .arg(forLog(press.instruction)));
    return found;
}

QString Replacement::whyNot() const {
    if (found->selected.leftAlone)
        return u"this page is left alone — nothing was begun"_s;
    if (press.instruction.isEmpty())
        return found->insert() ? u"type the text to insert first"_s : u"type how to transform it first"_s;
    if (editsSource(target))
        return found->insert() ? u"select the text to replace first"_s : QString();
    const PasteWay& way = found->way;
    if (!way.safe())
        return way.refusal.isEmpty() ? u"no key is safe there: nothing was begun"_s : way.refusal;
    // A key goes before the paste there, which without a selection would delete something else.
    if (way.before != PasteWay::Before::Nothing && found->selected.source != SelectedText::Source::Primary)
        return u"select the text there again first"_s;
    return {};
}

void Replacement::begin() {
    if (!opening) { // closed before anything was begun
        deleteLater();
        return;
    }
    if (const QString why = whyNot(); !why.isEmpty()) {
        Q_EMIT failed(why);
        deleteLater();
        return;
    }
    Q_EMIT said(found->insert() ? u"inserting…"_s : u"replacing…"_s);
    if (!editsSource(target)) {
        if (const auto text = literalReplacement(press.instruction)) {
            pasteOver(*text);
            return;
        }
    }
    const CaptureContext& context = press.context;
    std::function<JobEnd()> work;
    if (found->insert())
        work = [insert = InsertJob{press.instruction, context}, job = tools.job] { return runInsert(insert, job); };
    else
        work = [transform = TransformJob{target, press.instruction, found->selected.text, context}, job = tools.job] {
            return runTransform(transform, job);
        };
    tools.dispatch.inBackground(Queue::Jobs, this, std::move(work), [this](const JobEnd& end) { jobEnded(end); });
}

void Replacement::jobEnded(const JobEnd& end) {
    if (tools.job.stop.stop_requested())
        return; // the program ends
    if (end.kind == JobEnd::Kind::Text) {
        pasteOver(end.text);
        return;
    }
    if (end.kind == JobEnd::Kind::Failed)
        Q_EMIT failed(end.text);
    else
        Q_EMIT edited(end.text);
    deleteLater();
}

void Replacement::pasteOver(const QString& text) {
    if (!mayPaste(text))
        return;
    if (tools.dispatch.now() - found->readAt <= A_MOMENT) {
        pasteNow(text);
        return;
    }
    tools.dispatch.inBackground(
        Queue::UserInitiated, this,
        [&selection = tools.selection, where = Subject(press.context)] { return selection.axSelection(where); },
        [this, text](const SelectedText& now) {
            if (!mayPaste(text))
                return;
            if (const auto why = changed(found->selected, now))
                leave(text, *why);
            else
                pasteNow(text);
        });
}

bool Replacement::mayPaste(const QString& text) {
    if (opening && frontWindow() == front)
        return true;
    // The panel of another opening has the keyboard, and what is typed in it is not for us to close.
    leave(text, opening ? NotPasted::Elsewhere : tools.panelIsOpen() ? NotPasted::OpenedAgain : NotPasted::Closed);
    return false;
}

void Replacement::leave(const QString& text, NotPasted why) {
    Q_EMIT closing();
    tools.paste.leaveOnClipboard(text, press.context.capApp, why);
    deleteLater();
}

void Replacement::pasteNow(const QString& text) {
    Q_EMIT closing();
    tools.paste.pasteOverSelection({text, press.context.capApp, found->window, found->way, found->selected.text});
    deleteLater();
}

WindowId Replacement::frontWindow() const {
    const auto application = tools.desktop.workspace.frontmostApplication();
    return application ? application->window : WindowId{};
}

} // namespace ovalin
