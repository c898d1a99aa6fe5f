#include "Selection.h"

#include "base/Log.h"
#include "base/Text.h"
#include "platform/Browsers.h"

#include <QThread>

namespace ovalin {

namespace {

constexpr int POLLS = 15;
constexpr std::chrono::milliseconds POLL_STEP{20};

std::optional<QString> trimmedOrAbsent(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

} // namespace

bool isChromiumFamily(const QString& bundleId) { return inChromiumFamily(bundleId); }

Selection::Selection(Accessibility& theAccessibility, Pasteboard& thePasteboard, Keyboard& theKeyboard, Sleep theSleep)
    : accessibility(theAccessibility)
    , pasteboard(thePasteboard)
    , keyboard(theKeyboard)
    , sleep(theSleep ? std::move(theSleep) : [](std::chrono::milliseconds time) {
        QThread::msleep(static_cast<unsigned long>(time.count()));
    }) {}

SelectedText Selection::axSelection(const SelectionTarget& target) {
    const qint32 pid = target.at.pid;
    if (pid < 1)
        return {};
    const AccessibleSelection found = accessibility.selection(target.at);
    using Kind = AccessibleSelection::Kind;
    using Source = SelectedText::Source;
    SelectedText read{{}, Source::Tree, found.focus, found.window ? found.window : target.at.window};
    if (found.kind == Kind::Text)
        read.text = found.text.trimmed();
    // In a password field PRIMARY still holds what was selected before it.
    if (found.kind == Kind::Secret || (!read.text.isEmpty() && !found.page))
        return read;
    // A page's running text comes in nested pieces; PRIMARY has it as the browser would copy it.
    if (const auto primary = pasteboard.primaryText(pid, Pasteboard::Freshness::SinceLastInput)) {
        const QString text = primary->trimmed();
        if (!text.isEmpty())
            return {text, Source::Primary, read.focus, read.window};
    }
    if (read.text.isEmpty())
        read.source = Source::Nobody;
    return read;
}

SelectedText Selection::axSelectionOrGrab(const SelectionTarget& target) {
    SelectedText read = axSelection(target);
    if (read.source != SelectedText::Source::Nobody)
        return read;
    if (const auto grabbed = clipboardGrab(target.at.pid, read.focus)) {
        read.text = *grabbed;
        read.source = SelectedText::Source::Copy;
    }
    return read;
}

std::optional<QString> Selection::clipboardGrab(qint32 pid, FocusKind focus) {
    if (!keyboard.trusted()) {
        logLine(QStringLiteral("Ovalin: Accessibility not granted — cannot grab selection"));
        return std::nullopt;
    }
    const std::lock_guard lock(pasteboard.inUse);
    auto saved = pasteboard.snapshot();
    if (!saved) {
        logLine(QStringLiteral("Ovalin: selection fallback skipped — the clipboard's owner does not answer"));
        return std::nullopt;
    }
    const quint64 before = saved->changeCount;
    switch (keyboard.sendCopy(pid, focus)) {
    case Keyboard::Sent::Yes:
        break;
    case Keyboard::Sent::NotTrusted:
        logLine(QStringLiteral("Ovalin: Accessibility not granted — cannot grab selection"));
        return std::nullopt;
    default:
        return std::nullopt;
    }
    for (int poll = 0; poll < POLLS && pasteboard.changeCount() == before; ++poll)
        sleep(POLL_STEP);
    std::optional<QString> text;
    if (pasteboard.changeCount() != before) {
        text = pasteboard.text();
        pasteboard.restore(std::move(*saved));
    }
    if (text && (text = trimmedOrAbsent(*text))) {
        logLine(QStringLiteral("Ovalin: selection fallback grabbed %1 chars via Cmd+C").arg(characterCount(*text)));
        return text;
    }
    logLine(QStringLiteral("Ovalin: selection fallback — clipboard unchanged after Cmd+C to pid %1").arg(pid));
    return std::nullopt;
}

} // namespace ovalin
