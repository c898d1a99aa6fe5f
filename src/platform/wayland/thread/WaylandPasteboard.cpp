#include "WaylandPasteboard.h"

#include "base/Log.h"
#include "base/PipeReader.h"
#include "base/children/Spawn.h"

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using std::chrono::milliseconds;

constexpr milliseconds TEXT{150}, FIELD_TEXT{500};
constexpr SnapshotBudget SNAPSHOT, SAVE{std::chrono::seconds(1), 64 * 1024 * 1024};
constexpr qsizetype MOST_TEXT = 32 * 1024 * 1024;
constexpr std::chrono::seconds OWN_DEADLINE{2};

/// What tells histories of the clipboard that a text is not for them.
const char* const NO_HISTORY = "x-kde-passwordManagerHint";

} // namespace

WaylandPasteboard::WaylandPasteboard(WaylandThread& theThread, const WindowBook& theBook, Dispatch& theDispatch)
    : thread(theThread)
    , book(theBook)
    , dispatch(theDispatch) {
    thread.post([this] {
        control = std::make_unique<DataControl>(thread, book, clipboardChanges, [this] {
            if (primaryChanged)
                primaryChanged();
        });
    });
}

WaylandPasteboard::~WaylandPasteboard() {
    thread.runAndWait([this] { control.reset(); });
}

std::optional<DataControl::Shown> WaylandPasteboard::shown(Selection selection, Deadline deadline) {
    return thread.call(deadline, [this, selection] { return control->shown(selection); });
}

std::optional<QByteArray> WaylandPasteboard::read(Selection selection, const QByteArray& type, Deadline deadline,
                                                  qsizetype most) {
    auto pipe = makePipe();
    if (!pipe)
        return {};
    const auto into = std::make_shared<Descriptor>(std::move(pipe->write));
    thread.post([this, selection, type, into] {
        control->receive(selection, type, *into);
        into->close();
    });
    return readToEnd(pipe->read, deadline, most);
}

std::optional<QString> WaylandPasteboard::readText(Selection selection, const QByteArrayList& types,
                                                   Deadline deadline) {
    for (const QByteArray& type : textTargets()) {
        if (!types.contains(type))
            continue;
        const auto bytes = read(selection, type, deadline, MOST_TEXT);
        return bytes ? selectionText(type, 8, *bytes) : std::nullopt;
    }
    return {};
}

std::optional<QString> WaylandPasteboard::primaryText(qint32 pid, Freshness freshness) {
    const Deadline deadline = deadlineIn(TEXT);
    const auto front = book.front();
    const auto now = shown(Selection::Primary, deadline);
    if (!now || !now->owned || now->ours || !front || front->pid != pid)
        return {};
    if (freshness != Freshness::Any && now->setIn != front->id)
        return {};
    return readText(Selection::Primary, now->types, deadline);
}

std::optional<QString> WaylandPasteboard::text() {
    const Deadline deadline = deadlineIn(TEXT);
    const auto now = shown(Selection::Clipboard, deadline);
    return now ? readText(Selection::Clipboard, now->types, deadline) : std::nullopt;
}

bool WaylandPasteboard::readItems(PasteboardSnapshot& snapshot, const QByteArrayList& offered, const Reading& how) {
    const QByteArrayList wanted = targetsToTake(offered);
    qsizetype room = how.bytes;
    bool complete = true;
    for (const QByteArray& type : wanted + furtherPictures(offered)) {
        const auto bytes = read(how.selection, type, how.deadline, room);
        if (!bytes) {
            complete = complete && !wanted.contains(type);
            continue;
        }
        room -= bytes->size();
        snapshot.items.push_back({type, type, 8, *bytes});
    }
    return complete;
}

std::optional<PasteboardSnapshot> WaylandPasteboard::readAll(const Reading& how) {
    const auto before = shown(how.selection, how.deadline);
    if (!before)
        return {};
    PasteboardSnapshot snapshot;
    snapshot.owned = before->owned;
    snapshot.changeCount = before->changes;
    if (before->owned)
        snapshot.complete = readItems(snapshot, before->types, how) && !snapshot.items.empty();
    const auto after = shown(how.selection, how.deadline + OWN_DEADLINE);
    if (!after || after->changes != before->changes || (!how.partly && !snapshot.complete))
        return {};
    return snapshot;
}

std::optional<PasteboardSnapshot> WaylandPasteboard::snapshot() {
    auto found = readAll({Selection::Clipboard, deadlineIn(SNAPSHOT.time), SNAPSHOT.bytes, false});
    return found && isFaithful(*found, clipboardChanges) ? found : std::nullopt;
}

PasteboardSnapshot WaylandPasteboard::save(Selection selection) {
    // Once more when somebody took it meanwhile: what was read is neither the one nor the other.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (auto found = readAll({selection, deadlineIn(SAVE.time), SAVE.bytes, true}))
            return std::move(*found);
    }
    return {true, {}, 0, false};
}

bool WaylandPasteboard::borrow(Selection selection, const QString& text, qint32 reader) {
    DataControl::Content content = textContent(text);
    if (reader > 0)
        content.push_back({NO_HISTORY, NO_HISTORY, 8, "secret"});
    keysSent = reader > 0 ? Deadline::max() : Deadline{};
    return thread
        .call(deadlineIn(OWN_DEADLINE), [this, selection, content] { return control->own(selection, content); })
        .value_or(false);
}

Pasteboard::Loan WaylandPasteboard::loan(Selection selection) {
    return thread
        .call(deadlineIn(OWN_DEADLINE),
              [this, selection] {
                  Loan loan{control->shown(selection).ours, {}};
                  if (const auto last = control->lastRead(selection); last && *last >= keysSent.load())
                      loan.readAgo = std::chrono::floor<milliseconds>(std::chrono::steady_clock::now() - *last);
                  return loan;
              })
        .value_or(Loan{});
}

bool WaylandPasteboard::giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) {
    auto content = std::make_shared<PasteboardSnapshot>(std::move(saved));
    // Only when all has been told that happened until now: somebody may have taken it.
    const auto done = thread.ask<bool>(deadlineIn(OWN_DEADLINE), [this, selection, when, content](auto answer) {
        thread.whenWorkedOff([this, selection, when, content, answer] {
            if (when == GiveBack::IfOurs && !control->shown(selection).ours)
                return answer(false);
            if (!content->items.empty())
                return answer(control->own(selection, std::move(content->items)));
            control->clear(selection);
            answer(true);
        });
    });
    return done.value_or(false);
}

void WaylandPasteboard::restore(PasteboardSnapshot snapshot) {
    if (needsRestore(snapshot, clipboardChanges) &&
        !giveBack(Selection::Clipboard, std::move(snapshot), GiveBack::Always))
        logLine(u"Ovalin: the clipboard could not be put back"_s);
}

void WaylandPasteboard::readText(Selection selection, QObject* context, std::function<void(const QString&)> done) {
    dispatch.inBackground(
        Queue::Utility, context,
        [this, selection]() -> std::optional<QString> {
            const Deadline deadline = deadlineIn(FIELD_TEXT);
            const auto now = shown(selection, deadline);
            return now ? readText(selection, now->types, deadline) : std::nullopt;
        },
        [done = std::move(done)](const std::optional<QString>& text) {
            if (text)
                done(*text);
        });
}

bool WaylandPasteboard::available() { return thread.alive() && thread.globals().dataControl != nullptr; }

} // namespace ovalin
