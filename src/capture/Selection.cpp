#include "Selection.h"

#include "base/Log.h"
#include "base/Text.h"
#include "platform/Browsers.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int POLLS = 15;
constexpr std::chrono::milliseconds POLL_STEP{20};

std::optional<QString> trimmedOrAbsent(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

/// Without what password fields show in place of each character: their length is a secret, too.
QString withoutMasks(QString text) {
    static const QRegularExpression masks(u"[\\x{2022}\\x{25CF}\\x{2B24}\\x{26AB}]{2,}"_s);
    text.remove(masks);
    return text.size() == 1 && masks.match(text + text).hasMatch() ? QString() : text;
}

/// Whether one text holds the other, whatever blanks and line ends lie between the words.
bool holdsWords(const QString& all, const QString& some) { return all.simplified().contains(some.simplified()); }

/// Browsers of the family under any name, and the many programs that are one inside.
bool isChromiumBased(const Subject& subject) {
    if (isChromiumFamily(subject.capBundle) || subject.capBundle == QLatin1String("org.chromium.Chromium"))
        return true;
    const QString program = QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(subject.capPID));
    return !program.isEmpty() && QFileInfo::exists(QFileInfo(program).absolutePath() + u"/chrome_100_percent.pak"_s);
}

} // namespace

bool isChromiumFamily(const QString& bundleId) { return inChromiumFamily(bundleId); }

Selection::Selection(Accessibility& theAccessibility, Pasteboard& thePasteboard, Keyboard& theKeyboard, Sleep theSleep,
                     LeftAloneNow theLeftAloneNow)
    : accessibility(theAccessibility)
    , pasteboard(thePasteboard)
    , keyboard(theKeyboard)
    , sleep(theSleep
                ? std::move(theSleep)
                : [](std::chrono::milliseconds time) { QThread::msleep(static_cast<unsigned long>(time.count())); })
    , leftAloneNow(std::move(theLeftAloneNow)) {}

std::optional<QString> Selection::freshPrimary(qint32 pid) {
    const auto primary = pasteboard.primaryText(pid, Pasteboard::Freshness::SinceLastInput);
    return primary ? trimmedOrAbsent(withoutMasks(primary->trimmed())) : std::nullopt;
}

SelectedText Selection::unlessLeftAlone(const SelectedText& found) const {
    if (!leftAloneNow || !leftAloneNow(found.window, {}))
        return found;
    return {{}, SelectedText::Source::Tree, found.focus, found.window, true};
}

SelectedText Selection::axSelection(const Subject& subject) {
    return subject.capPID < 1 ? SelectedText() : unlessLeftAlone(read(subject));
}

SelectedText Selection::read(const Subject& subject) {
    const AccessibleSelection tree = accessibility.selection(subject.window());
    using Kind = AccessibleSelection::Kind;
    using Source = SelectedText::Source;
    SelectedText nothing{{}, Source::Tree, tree.focus, tree.window ? tree.window : subject.capWindow};
    SelectedText found = nothing;
    if (tree.kind == Kind::Text)
        found.text = tree.text.trimmed();
    // PRIMARY may be of another window of the application, and in a password field of what was selected before it.
    const bool answered = tree.kind == Kind::None && tree.focus == FocusKind::Editable && !tree.part;
    if (tree.kind == Kind::Secret || answered)
        return nothing;
    if (!found.text.isEmpty() && !tree.page && !tree.part)
        return found;
    const bool chromium = isChromiumBased(subject);
    const bool silent = tree.kind == Kind::Unavailable && tree.focus == FocusKind::Unknown;
    // Without its tree Chromium does not say that a field is for passwords, and puts those into PRIMARY, too.
    const bool mayBeSecret = chromium && (silent || tree.focus == FocusKind::NoText);
    const auto primary = mayBeSecret ? std::nullopt : freshPrimary(subject.capPID);
    // A page's running text comes in nested pieces; PRIMARY has it as the browser would copy it.
    if (primary && (!tree.part || holdsWords(*primary, found.text)))
        return {*primary, Source::Primary, found.focus, found.window};
    if (tree.part)
        return {{}, Source::Nobody, found.focus, found.window};
    // On a page Chromium knows nothing of a selection made by Ctrl+A; what is no field may hold more than it tells.
    const bool open = silent || (found.text.isEmpty() && (tree.page ? chromium : tree.focus == FocusKind::ReadOnly));
    if (open && tree.focus != FocusKind::Terminal)
        found.source = Source::Nobody;
    return found;
}

SelectedText Selection::orGrab(SelectedText found, const Subject& subject) {
    if (found.source != SelectedText::Source::Nobody)
        return found;
    if (const auto grabbed = clipboardGrab(subject.capPID, found.focus)) {
        found.text = *grabbed;
        found.source = SelectedText::Source::Copy;
        return unlessLeftAlone(found);
    }
    return found;
}

std::optional<QString> Selection::clipboardGrab(qint32 pid, FocusKind focus) {
    if (!keyboard.trusted()) {
        logLine(u"Ovalin: Accessibility not granted — cannot grab selection"_s);
        return std::nullopt;
    }
    const std::lock_guard lock(pasteboard.inUse);
    auto saved = pasteboard.snapshot();
    if (!saved) {
        logLine(u"Ovalin: selection fallback skipped — the clipboard's owner does not answer"_s);
        return std::nullopt;
    }
    const quint64 before = saved->changeCount;
    pasteboard.catchCopy(saved, pid);
    if (const auto sent = keyboard.sendCopy(pid, focus); sent != Keyboard::Sent::Yes) {
        pasteboard.catchCopy({}, 0);
        if (sent == Keyboard::Sent::NotTrusted)
            logLine(u"Ovalin: Accessibility not granted — cannot grab selection"_s);
        return std::nullopt;
    }
    for (int poll = 0; poll < POLLS && pasteboard.changeCount() == before; ++poll)
        sleep(POLL_STEP);
    std::optional<QString> text;
    if (pasteboard.changeCount() != before)
        text = pasteboard.text();
    pasteboard.restore(std::move(*saved));
    if (text && (text = trimmedOrAbsent(withoutMasks(text->trimmed())))) {
        logLine(u"Ovalin: selection fallback grabbed %1 chars via Cmd+C"_s.arg(characterCount(*text)));
        return text;
    }
    logLine(u"Ovalin: selection fallback — clipboard unchanged after Cmd+C to pid %1"_s.arg(pid));
    return std::nullopt;
}

} // namespace ovalin
