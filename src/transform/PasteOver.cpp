#include "PasteOver.h"

#include "base/Log.h"

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

/// One paste, on a worker from beginning to end.
struct Paste {
    Pasteboard& pasteboard;
    Keyboard& keyboard;
    Dispatch& dispatch;
    const QString text;
    const Keyboard::PasteTarget target;

    [[nodiscard]] PasteEnd run() const {
        const std::lock_guard lock(pasteboard.inUse);
        const auto source = keyboard.bringToFront(target);
        if (!source)
            return leaveText(PasteEnd::Unreachable);
        PasteboardSnapshot saved = pasteboard.save(*source);
        if (!pasteboard.borrow(*source, text, target.pid))
            return leaveText(PasteEnd::Unreachable);
        if (keyboard.sendPaste(target) != Keyboard::Sent::Yes) {
            if (*source == Selection::Primary)
                restore(*source, std::move(saved));
            return leaveText(PasteEnd::Unreachable);
        }
        const bool complete = saved.complete || *source == Selection::Primary;
        switch (waitForTarget(*source)) {
        case ClipboardStep::Restore:
            restore(*source, std::move(saved));
            return complete ? PasteEnd::Pasted : PasteEnd::ClipboardLost;
        case ClipboardStep::LeaveText:
            if (*source == Selection::Clipboard)
                return PasteEnd::Unconfirmed;
            restore(*source, std::move(saved));
            return leaveText(PasteEnd::Unconfirmed);
        default:
            // Some clipboard managers take over whatever they see: that is nothing newer.
            if (*source == Selection::Clipboard && pasteboard.text() == text)
                pasteboard.giveBack(*source, std::move(saved), GiveBack::Always);
            return PasteEnd::Pasted;
        }
    }

private:
    [[nodiscard]] ClipboardStep waitForTarget(Selection source) const {
        const double start = dispatch.now();
        for (;;) {
            const Pasteboard::Loan loan = pasteboard.loan(source);
            const milliseconds sinceKey(static_cast<qint64>((dispatch.now() - start) * 1000));
            const ClipboardStep step = clipboardStep(sinceKey, loan.readAgo, loan.ours);
            if (step != ClipboardStep::Wait)
                return step;
            dispatch.sleep(LOOK_AGAIN);
        }
    }

    void restore(Selection source, PasteboardSnapshot saved) const {
        pasteboard.giveBack(source, std::move(saved), GiveBack::IfOurs);
    }

    [[nodiscard]] PasteEnd leaveText(PasteEnd end) const {
        return pasteboard.borrow(Selection::Clipboard, text, 0) ? end : PasteEnd::NoClipboard;
    }
};

Notification about(PasteEnd end) {
    switch (end) {
    case PasteEnd::Unreachable:
        return {
            QStringLiteral("Ovalin could not put the text in"),
            QStringLiteral("The window it was for is gone, does not come to the front or takes no keys. The text is "
                           "on the clipboard."),
            {},
            {}};
    case PasteEnd::Unconfirmed:
        return {QStringLiteral("The application did not take the text"),
                QStringLiteral("It may be busy, or have nothing there to type into. The text is on the clipboard."),
                {},
                {}};
    case PasteEnd::ClipboardLost:
        return {QStringLiteral("Ovalin could not keep your clipboard"),
                QStringLiteral("The text is in, but the program that had filled the clipboard did not hand over all "
                               "of it."),
                {},
                {}};
    default:
        return {QStringLiteral("Ovalin could not put the text in"),
                QStringLiteral("Neither the window it was for nor the clipboard can be had."),
                {},
                {}};
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

void PasteOver::pasteOverSelection(const QString& text, const Keyboard::PasteTarget& target) {
    const Paste paste{desktop.pasteboard, desktop.keyboard, dispatch, text, target};
    dispatch.inBackground(
        Queue::UserInitiated, this, [paste] { return paste.run(); }, [this](PasteEnd end) { ended(end); });
}

void PasteOver::ended(PasteEnd end) {
    if (end == PasteEnd::Pasted)
        return;
    const Notification notification = about(end);
    logLine(QStringLiteral("Ovalin paste: ") + notification.title);
    desktop.notifier.notify(notification);
}

void PasteOver::leaveOnClipboard(const QString& text, const QString& why) {
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [&pasteboard = desktop.pasteboard, text] {
            const std::lock_guard lock(pasteboard.inUse);
            return pasteboard.borrow(Selection::Clipboard, text, 0);
        },
        [this, why](bool done) {
            if (done)
                desktop.notifier.notify({QStringLiteral("Your text is on the clipboard"), why, {}, {}});
            else
                ended(PasteEnd::NoClipboard);
        });
}

} // namespace ovalin
