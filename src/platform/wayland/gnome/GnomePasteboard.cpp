#include "GnomePasteboard.h"

#include "base/PipeReader.h"
#include "platform/selections/SelectionRules.h"

#include <algorithm>

namespace ovalin {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds TEXT{500};
constexpr SnapshotBudget SAVE{std::chrono::seconds(1), 64 * 1024 * 1024};
constexpr qsizetype MOST_TEXT = 32 * 1024 * 1024;

/// Whether the shell keeps it when the session ends.
bool isKept(const QByteArray& type) {
    return type.startsWith("text/plain") || type.startsWith("image/") || textTargets().contains(type) || type == "TEXT";
}

} // namespace

GnomePasteboard::GnomePasteboard(Dispatch& theDispatch, const QString& busAddress)
    : dispatch(theDispatch)
    , session(new MutterSession(busAddress))
    , thread(session) {}

bool GnomePasteboard::offered() {
    return call([this] { return session->offered(); });
}

MutterSession::Clipboard GnomePasteboard::shown() {
    if (!call([this] { return session->open(); }))
        return {};
    return call([this] { return session->clipboard(); });
}

std::optional<QByteArray> GnomePasteboard::read(const QByteArray& type, Deadline deadline, qsizetype most) {
    const Descriptor from = call([this, type] { return session->read(type); });
    return from ? readToEnd(from, deadline, most) : std::nullopt;
}

std::optional<QString> GnomePasteboard::text() {
    const auto now = shown();
    for (const QByteArray& type : textTargets()) {
        if (!now.types.contains(type))
            continue;
        const auto bytes = read(type, deadlineIn(TEXT), MOST_TEXT);
        return bytes ? selectionText(type, 8, *bytes) : std::nullopt;
    }
    return {};
}

PasteboardSnapshot GnomePasteboard::save(Selection selection) {
    PasteboardSnapshot saved;
    const auto now = selection == Selection::Clipboard ? shown() : MutterSession::Clipboard();
    const Deadline deadline = deadlineIn(SAVE.time);
    qsizetype room = SAVE.bytes;
    saved.owned = !now.types.isEmpty();
    for (const QByteArray& type : targetsToTake(now.types)) {
        const auto bytes = isKept(type) ? read(type, deadline, room) : std::nullopt;
        saved.complete = saved.complete && bytes;
        if (!bytes)
            continue;
        room -= bytes->size();
        saved.items.push_back({type, type, 8, *bytes});
    }
    return saved;
}

bool GnomePasteboard::own(MutterSession::Content content) {
    return call([this, &content] { return session->own(std::move(content)); });
}

bool GnomePasteboard::borrow(Selection selection, const QString& text, qint32 reader) {
    keysSent = reader > 0 ? Deadline::max() : Deadline{};
    return selection == Selection::Clipboard && own(textContent(text));
}

Pasteboard::Loan GnomePasteboard::loan(Selection selection) {
    if (selection != Selection::Clipboard)
        return {};
    const auto now = shown();
    Loan loan{now.ours, {}};
    if (now.lastRead && *now.lastRead >= keysSent.load())
        loan.readAgo = std::chrono::floor<milliseconds>(std::chrono::steady_clock::now() - *now.lastRead);
    return loan;
}

bool GnomePasteboard::giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) {
    if (selection != Selection::Clipboard || (when == GiveBack::IfOurs && !shown().ours))
        return false;
    return own(std::move(saved.items));
}

void GnomePasteboard::readText(Selection selection, QObject* context, std::function<void(const QString&)> done) {
    if (selection != Selection::Clipboard)
        return;
    dispatch.inBackground(
        Queue::Utility, context, [this] { return text(); },
        [done = std::move(done)](const std::optional<QString>& found) {
            if (found)
                done(*found);
        });
}

bool GnomePasteboard::press(const std::vector<WaylandChord>& chords) {
    keysSent = std::chrono::steady_clock::now();
    return call([this, &chords] { return session->press(chords); });
}

} // namespace ovalin
