#include "PasteOver.h"

#include "base/Log.h"

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Selection = Pasteboard::Selection;
using GiveBack = Pasteboard::GiveBack;

constexpr milliseconds AT_LEAST = 450ms;
constexpr milliseconds AFTER_READ = 100ms;
constexpr milliseconds AT_MOST = 3000ms;
constexpr milliseconds LOOK_AGAIN = 10ms;

/// A terminal takes what is pasted for what is typed: a line end runs it, other control characters do worse.
bool isOneLine(const QString& text) {
    return std::ranges::none_of(text, [](QChar character) {
        return character.category() == QChar::Other_Control && character != QLatin1Char('\t');
    });
}

QString withoutLastLineEnd(QString text) {
    if (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('\r')))
        text.chop(1);
    return text;
}

} // namespace

// What became of a text, and what was on the clipboard before it, when it is there now.
struct PasteOver::Left {
    PasteEnd end = PasteEnd::Pasted;
    std::shared_ptr<const PasteboardSnapshot> before;

    [[nodiscard]] static Left on(Pasteboard& pasteboard, const QString& text, PasteEnd end,
                                 std::optional<PasteboardSnapshot> saved = {}) {
        auto before = saved ? std::move(*saved) : pasteboard.save(Selection::Clipboard);
        if (!pasteboard.borrow(Selection::Clipboard, text, 0))
            return {PasteEnd::NoClipboard, nullptr};
        return {end, std::make_shared<const PasteboardSnapshot>(std::move(before))};
    }
};

namespace {

/// One paste, on a worker from beginning to end.
template <class Left>
struct Paste {
    Pasteboard& pasteboard;
    Keyboard& keyboard;
    Dispatch& dispatch;
    const PasteOrder order;

    [[nodiscard]] Left run() const {
        const std::lock_guard lock(pasteboard.inUse);
        if (order.way.oneLine && !isOneLine(order.text))
            return leave(PasteEnd::SeveralLines);
        if (!order.way.safe() || !keyboard.bringToFront(order.target))
            return leave(PasteEnd::Unreachable);
        if (order.way.before != PasteWay::Before::Nothing && !isSelected())
            return leave(PasteEnd::NotReady);
        PasteboardSnapshot saved = pasteboard.save(Selection::Clipboard);
        PasteboardSnapshot primary;
        if (order.way.primaryToo)
            primary = pasteboard.save(Selection::Primary);
        const auto end = lendAndSend();
        const ClipboardStep step = end == PasteEnd::Pasted ? waitForTarget() : ClipboardStep::LeaveText;
        if (order.way.primaryToo)
            pasteboard.giveBack(Selection::Primary, std::move(primary), GiveBack::IfOurs);
        if (end != PasteEnd::Pasted)
            return leave(end, std::move(saved));
        if (step == ClipboardStep::LeaveText)
            return leave(PasteEnd::Unconfirmed, std::move(saved));
        // Some clipboard managers take over whatever they see: that is nothing newer.
        const bool ours = step == ClipboardStep::Restore || pasteboard.text() == order.text;
        const bool complete = saved.complete;
        if (ours)
            pasteboard.giveBack(Selection::Clipboard, std::move(saved),
                                step == ClipboardStep::Restore ? GiveBack::IfOurs : GiveBack::Always);
        return {ours && !complete ? PasteEnd::ClipboardLost : PasteEnd::Pasted, nullptr};
    }

private:
    [[nodiscard]] Left leave(PasteEnd end, std::optional<PasteboardSnapshot> saved = {}) const {
        return Left::on(pasteboard, order.text, end, std::move(saved));
    }

    /// Where a key would delete something else if it were not, the application shows that it is.
    [[nodiscard]] bool isSelected() const {
        const auto shown = pasteboard.primaryText(order.target.pid, Pasteboard::Freshness::SinceLastInput);
        return shown && shown->trimmed() == order.over;
    }

    [[nodiscard]] PasteEnd lendAndSend() const {
        if (!pasteboard.borrow(Selection::Clipboard, order.text, order.target.pid) ||
            (order.way.primaryToo && !pasteboard.borrow(Selection::Primary, order.text, order.target.pid)))
            return PasteEnd::Unreachable;
        switch (keyboard.sendPaste(order.target, order.way)) {
        case Keyboard::Sent::Yes:
            return PasteEnd::Pasted;
        case Keyboard::Sent::NotAllowed:
            return PasteEnd::NotReady;
        default:
            return PasteEnd::Unreachable;
        }
    }

    [[nodiscard]] ClipboardStep waitForTarget() const {
        const double start = dispatch.now();
        for (;;) {
            Pasteboard::Loan loan = pasteboard.loan(Selection::Clipboard);
            if (order.way.primaryToo && !loan.readAgo)
                loan.readAgo = pasteboard.loan(Selection::Primary).readAgo;
            const milliseconds sinceKey(static_cast<qint64>((dispatch.now() - start) * 1000));
            const ClipboardStep step = clipboardStep(sinceKey, loan.readAgo, loan.ours);
            if (step != ClipboardStep::Wait)
                return step;
            dispatch.sleep(LOOK_AGAIN);
        }
    }
};

const auto ON_CLIPBOARD = u"Your text is on the clipboard"_s;

Notification about(PasteEnd end, const QString& app) {
    const auto left = [&](const QString& why) {
        return Notification{ON_CLIPBOARD, why.arg(app) + u" Paste it where you want it."_s, {}, {}};
    };
    switch (end) {
    case PasteEnd::Unreachable:
        return left(u"The window of %1 that it was for is gone, does not come to the front or takes no "
                    "keys."_s);
    case PasteEnd::NotReady:
        return left(u"%1 is not where it can put a text over the selection or at its cursor, so nothing "
                    "was changed there."_s);
    case PasteEnd::SeveralLines:
        return left(u"%1 may be a terminal, which would run each line of it as a command."_s);
    case PasteEnd::Unconfirmed:
        return left(u"%1 did not take it: it may be busy, or have nothing there to type into."_s);
    case PasteEnd::ClipboardLost:
        return {u"Ovalin could not keep your clipboard"_s,
                u"The text is in %1, but the program that had filled the clipboard did not hand over all "
                "of it."_s.arg(app),
                {},
                {}};
    default:
        return {u"Ovalin could not put the text in"_s,
                u"Neither the window of %1 nor the clipboard can be had."_s.arg(app),
                {},
                {}};
    }
}

QString reason(NotPasted why) {
    switch (why) {
    case NotPasted::Closed:
        return u"You had closed Ovalin before it was done, so nothing was changed in %1."_s;
    case NotPasted::OpenedAgain:
        return u"It was done while you had opened Ovalin again, so nothing was changed in %1."_s;
    case NotPasted::Elsewhere:
        return u"You had gone on to another place before it was done, so nothing was changed in %1."_s;
    default:
        return u"What is selected in %1 is not what it was made from any more, so nothing was changed "
               "there."_s;
    }
}

} // namespace

ClipboardStep clipboardStep(milliseconds sinceKey, std::optional<milliseconds> readAgo, bool stillOurs) {
    if (!stillOurs) // the target may still be asking who has it now
        return sinceKey >= AT_LEAST ? ClipboardStep::LeaveNewer : ClipboardStep::Wait;
    if (readAgo)
        return sinceKey >= AT_LEAST && (*readAgo >= AFTER_READ || sinceKey >= AT_MOST) ? ClipboardStep::Restore
                                                                                       : ClipboardStep::Wait;
    return sinceKey >= AT_MOST ? ClipboardStep::LeaveText : ClipboardStep::Wait;
}

void PasteOver::pasteOverSelection(const PasteOrder& order) {
    PasteOrder what = order;
    if (what.way.oneLine)
        what.text = withoutLastLineEnd(what.text);
    const Paste<Left> paste{desktop.pasteboard, desktop.keyboard, dispatch, what};
    dispatch.inBackground(
        Queue::UserInitiated, this, [paste] { return paste.run(); },
        [this, app = order.app, text = what.text](const Left& left) {
            if (left.end != PasteEnd::Pasted)
                tell(about(left.end, app), text, left);
        });
}

void PasteOver::leaveOnClipboard(const QString& text, const QString& app, NotPasted why) {
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [&pasteboard = desktop.pasteboard, text] {
            const std::lock_guard lock(pasteboard.inUse);
            return Left::on(pasteboard, text, PasteEnd::Unreachable);
        },
        [this, text, app, why](const Left& left) {
            Notification notification = about(left.end, app);
            if (left.end == PasteEnd::Unreachable)
                notification.body = reason(why).arg(app) + u" Paste it where you want it."_s;
            tell(notification, text, left);
        });
}

void PasteOver::tell(Notification notification, const QString& text, const Left& left) {
    logLine(u"Ovalin paste: %1 — %2"_s.arg(notification.title, notification.body));
    if (left.before) {
        notification.actionLabel = u"Copy again"_s;
        notification.onAction = [this, text] { copyAgain(text); };
    }
    if (left.before && !left.before->items.empty()) {
        notification.secondLabel = std::exchange(notification.actionLabel, u"Put back the clipboard"_s);
        notification.onSecond = std::exchange(notification.onAction, [this, text, left] { putBack(text, left); });
    }
    desktop.notifier.notify(notification);
}

void PasteOver::putBack(const QString& text, const Left& left) {
    dispatch.run(Queue::UserInitiated, [&pasteboard = desktop.pasteboard, text, left] {
        const std::lock_guard lock(pasteboard.inUse);
        // What the user has copied since is newer; what a clipboard manager has taken over is not.
        if (!pasteboard.giveBack(Selection::Clipboard, *left.before, GiveBack::IfOurs) && pasteboard.text() == text)
            pasteboard.giveBack(Selection::Clipboard, *left.before, GiveBack::Always);
    });
}

void PasteOver::copyAgain(const QString& text) {
    dispatch.run(Queue::UserInitiated, [&pasteboard = desktop.pasteboard, text] {
        const std::lock_guard lock(pasteboard.inUse);
        (void)pasteboard.borrow(Selection::Clipboard, text, 0);
    });
}

} // namespace ovalin
