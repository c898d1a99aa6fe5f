#include "X11Pasteboard.h"

#include "SelectionSnapshot.h"
#include "base/Log.h"
#include "platform/x11/QtConnection.h"
#include "platform/applications/TargetRules.h"
#include "platform/x11/targets/VimServer.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>

#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds OWN_DEADLINE{2};

/// Vim takes PRIMARY when a highlight begins, and does not renew it while keys make it longer.
bool isShownByVim(xcb_window_t owner, qint32 pid) {
    xcb_connection_t* connection = qtConnection();
    if (!connection || !isVim(QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName()))
        return false;
    const auto vim = VimServer::of(connection, owner, pid);
    return vim && vim->hasSelection();
}

} // namespace

X11Pasteboard::X11Pasteboard(XThread& xThread, const ActivityClock& clock, const PasteboardLimits& theLimits)
    : thread(xThread)
    , limits(theLimits) {
    thread.post([this, &clock] { parts = std::make_unique<XSelections>(thread, clock, clipboardChanges); });
}

X11Pasteboard::~X11Pasteboard() {
    thread.runAndWait([this] { parts.reset(); });
}

std::optional<QString> X11Pasteboard::primaryText(qint32 pid, Freshness freshness) {
    const Deadline deadline = deadlineIn(limits.text);
    const auto owner = thread.call(deadline, [this, pid] { return parts->primaryOwnerIn(pid); });
    if (!owner || *owner == XCB_WINDOW_NONE)
        return {};
    // A second task: what the server told about this owner has been handled before it.
    const auto text =
        thread
            .ask<std::optional<QString>>(deadline,
                                         [this, window = *owner, freshness, deadline](XSelections::TextDone answer) {
                                             parts->readPrimary(window, freshness, deadline, std::move(answer));
                                         })
            .value_or(std::nullopt);
    return text || freshness == Freshness::Any || !isShownByVim(*owner, pid) ? text : primaryText(pid, Freshness::Any);
}

std::optional<QString> X11Pasteboard::text() {
    const Deadline deadline = deadlineIn(limits.text);
    return thread
        .ask<std::optional<QString>>(
            deadline,
            [this, deadline](XSelections::TextDone answer) { parts->readClipboard(deadline, std::move(answer)); })
        .value_or(std::nullopt);
}

std::optional<PasteboardSnapshot> X11Pasteboard::snapshot() {
    const Deadline deadline = deadlineIn(limits.snapshot.time);
    return readSnapshot(thread, parts, {Selection::Clipboard, deadline, deadline, limits.snapshot.bytes, false},
                        clipboardChanges);
}

PasteboardSnapshot X11Pasteboard::save(Selection selection) {
    const Deadline deadline = deadlineIn(limits.save.time);
    // Once more when somebody took it meanwhile: what was read is neither the one nor the other.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (auto snapshot = readSnapshot(thread, parts,
                                         {selection, deadlineIn(limits.saveTargets), deadline, limits.save.bytes, true},
                                         clipboardChanges))
            return std::move(*snapshot);
    }
    return {true, {}, 0, false};
}

bool X11Pasteboard::borrow(Selection selection, const QString& text, qint32 wanted) {
    return thread
        .call(deadlineIn(OWN_DEADLINE),
              [this, selection, text, wanted] { return parts->borrow(selection, text, wanted); })
        .value_or(false);
}

Pasteboard::Loan X11Pasteboard::loan(Selection selection) {
    const auto now = thread.call(deadlineIn(OWN_DEADLINE), [this, selection] {
        Loan loan{parts->serverOf(selection).owns(), {}};
        if (const auto& last = parts->lastReadOf(selection))
            loan.readAgo = std::chrono::floor<std::chrono::milliseconds>(std::chrono::steady_clock::now() - *last);
        return loan;
    });
    return now.value_or(Loan{});
}

bool X11Pasteboard::giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) {
    auto content = std::make_shared<PasteboardSnapshot>(std::move(saved));
    const auto done = thread.call(deadlineIn(OWN_DEADLINE), [this, selection, when, content] {
        SelectionServer& server = parts->serverOf(selection);
        if (when == GiveBack::IfOurs)
            return server.exchange(content->items.empty() ? std::nullopt : std::optional(std::move(content->items)));
        if (!content->items.empty())
            return server.own(std::move(content->items));
        server.clear();
        return true;
    });
    return done.value_or(false);
}

void X11Pasteboard::catchCopy(std::optional<PasteboardSnapshot> before, qint32 pid) {
    auto content = std::make_shared<std::optional<PasteboardSnapshot>>(std::move(before));
    (void)thread.call(deadlineIn(OWN_DEADLINE), [this, content, pid] {
        if (*content)
            parts->catchCopy({std::move(**content), pid, limits.text});
        else
            parts->forgetCatch();
        return true;
    });
}

void X11Pasteboard::restore(PasteboardSnapshot snapshot) {
    auto content = std::make_shared<PasteboardSnapshot>(std::move(snapshot));
    const auto restored = thread.call(deadlineIn(OWN_DEADLINE), [this, content] {
        if (parts->endCatch() || !needsRestore(*content, clipboardChanges))
            return true;
        if (content->owned)
            return parts->server.own(std::move(content->items));
        parts->server.clear();
        return true;
    });
    if (!restored.value_or(false))
        logLine(u"Ovalin: the clipboard could not be put back"_s);
}

void X11Pasteboard::readText(Selection selection, QObject* context, std::function<void(const QString&)> done) {
    auto deliver = [this, guard = QPointer<QObject>(context), done = std::move(done)](const QString& text) {
        QMetaObject::invokeMethod(
            &mainThread,
            [guard, done, text] {
                if (guard)
                    done(text);
            },
            Qt::QueuedConnection);
    };
    const Deadline deadline = deadlineIn(limits.fieldText);
    thread.post([this, selection, deadline, deliver = std::move(deliver)] {
        parts->readText(parts->atom(selection), deadline, [deliver](const std::optional<QString>& text) {
            if (text)
                deliver(*text);
        });
    });
}

} // namespace ovalin
