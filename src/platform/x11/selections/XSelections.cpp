#include "XSelections.h"

#include "platform/selections/SelectionRules.h"
#include "platform/applications/TargetRules.h"

#include <utility>

namespace ovalin {

namespace {

constexpr std::chrono::seconds LONGEST_BUSY{5};

QByteArrayList atomNames(XConnection& server, const SelectionReading& targets) {
    if (targets.format != 32)
        return {};
    const auto* first = reinterpret_cast<const xcb_atom_t*>(targets.bytes.constData());
    const auto names = server.atomNames({first, first + targets.bytes.size() / 4});
    return {names.begin(), names.end()};
}

} // namespace

XSelections::XSelections(XThread& xThread, const ActivityClock& activity, std::atomic<quint64>& changesOfClipboard)
    : thread(xThread)
    , clock(activity)
    , windows(xThread.connection().get())
    , clipboard(xThread.connection().atom("CLIPBOARD"))
    , reader(xThread)
    , server(xThread, clipboard)
    , primaryServer(xThread, primary)
    , clipboardChanges(changesOfClipboard)
    , changes(xThread, [this](const SelectionChanges::Change& change) { changed(change); }) {}

void XSelections::changed(const SelectionChanges::Change& change) {
    if (change.selection == clipboard) {
        ++clipboardChanges;
        if (expected && change.owner && !thread.connection().isOwn(change.owner))
            takeCopy(change.owner);
    } else {
        ++primaryState.changes;
        primaryState.owner = change.owner;
        primaryState.since = change.time;
    }
    if (change.ownerDied)
        reader.ownerGone(change.selection);
}

// The server passes the question on to the application before it tells it of the new owner. Clipboard histories ask for
// the targets first; the text that they ask for then is ours.
void XSelections::takeCopy(xcb_window_t owner) {
    // What the user has copied meanwhile is no answer of an application that was busy.
    if (expected->overdue) {
        const ActivityClock::Reading user = clock.read();
        if (!user.watching || user.lastPress != expected->pressed ||
            std::chrono::steady_clock::now() > *expected->overdue) {
            forgetCatch();
            return;
        }
    }
    if (expected->pid > 0 && windows.windowOwners().ownerOf(owner) != expected->pid)
        return;
    expected->came = true;
    ++expected->asked;
    const SelectionReader::Request request{clipboard, thread.connection().atom(textTargets().constFirst()),
                                           deadlineIn(expected->patience)};
    reader.read(request, [this, copy = expected](const SelectionReading& reading) {
        if (reading.end == SelectionReading::End::Data)
            copy->text = selectionText(thread.connection().atomName(reading.type), reading.format, reading.bytes);
        if (--copy->asked == 0 && copy->waiting)
            copy->waiting(copy->text);
    });
    if (expected->before.owned)
        server.own(expected->before.items);
    else
        server.clear();
}

void XSelections::catchCopy(Catch copy) {
    expected = std::make_shared<Catch>(std::move(copy));
    expected->pressed = clock.read().lastPress;
}

bool XSelections::endCatch() {
    if (expected && !expected->came) {
        expected->overdue = deadlineIn(LONGEST_BUSY);
        thread.at(*expected->overdue, [late = std::weak_ptr(expected)] {
            if (const auto copy = late.lock())
                copy->before = {}; // it may be large
        });
        return false;
    }
    const auto copy = std::exchange(expected, nullptr);
    return copy && (copy->before.owned ? server.owns() : !ownerOf(clipboard));
}

void XSelections::readClipboard(Deadline deadline, TextDone done) {
    if (!expected || !expected->came || expected->overdue)
        readText(clipboard, deadline, 0, done);
    else if (expected->asked == 0)
        done(expected->text);
    else
        expected->waiting = std::move(done);
}

xcb_window_t XSelections::ownerOf(xcb_atom_t selection) {
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t XSelections::primaryOwnerIn(qint32 pid) {
    const xcb_window_t owner = ownerOf(primary);
    return windows.windowOwners().ownerOf(owner) == pid ? owner : xcb_window_t{XCB_WINDOW_NONE};
}

void XSelections::readText(xcb_atom_t selection, Deadline deadline, qsizetype attempt, const TextDone& done) {
    if (attempt == textTargets().size()) {
        done({});
        return;
    }
    const xcb_atom_t target = thread.connection().atom(textTargets()[attempt]);
    reader.read({selection, target, deadline}, [this, selection, deadline, attempt, done](SelectionReading reading) {
        if (reading.end == SelectionReading::End::Refused)
            readText(selection, deadline, attempt + 1, done);
        else if (reading.end == SelectionReading::End::Data)
            done(selectionText(thread.connection().atomName(reading.type), reading.format, reading.bytes));
        else
            done({});
    });
}

void XSelections::readPrimaryTime(Deadline deadline, std::function<void(std::optional<quint32>)> done) {
    if (primaryState.since) {
        done(primaryState.since);
        return;
    }
    // Set before our start: only the owner knows.
    const xcb_atom_t timestamp = thread.connection().atom("TIMESTAMP");
    reader.read({primary, timestamp, deadline}, [done = std::move(done)](const SelectionReading& reading) {
        std::optional<quint32> time;
        if (reading.end == SelectionReading::End::Data && reading.format == 32 && reading.bytes.size() >= 4)
            time = *reinterpret_cast<const quint32*>(reading.bytes.constData());
        done(time);
    });
}

/// The presses in the terminal window that the owner of PRIMARY lies in: only they take its highlight away, which
/// neither scrolling nor work elsewhere does. Not watching where it lies in no such window.
ActivityClock::Reading XSelections::inTerminal(xcb_window_t owner) {
    std::vector<quint32> around;
    bool terminal = false;
    for (const WindowIdentity& at : windows.lineage(owner)) {
        around.push_back(at.window);
        terminal = terminal || isTerminal(at.instance) || isTerminal(at.wmClass);
    }
    return terminal ? clock.readIn(around) : ActivityClock::Reading{};
}

void XSelections::readPrimary(xcb_window_t owner, Freshness freshness, Deadline deadline, TextDone done) {
    if (primaryState.since && primaryState.owner != owner) {
        done({});
        return;
    }
    auto readNow = [this, owner, deadline, before = primaryState.changes, done] {
        readText(primary, deadline, [this, owner, before, done](std::optional<QString> text) {
            // Another owner since we looked: the text may be that one's. Vim takes PRIMARY anew when it is asked.
            const bool same = primaryState.changes == before || primaryState.owner == owner;
            done(same ? std::move(text) : std::nullopt);
        });
    };
    if (freshness == Freshness::Any) {
        readNow();
        return;
    }
    readPrimaryTime(deadline, [this, owner, readNow, done](std::optional<quint32> time) {
        if (isPrimaryFresh(time, clock.read()) || isPrimaryFresh(time, inTerminal(owner)))
            readNow();
        else
            done({});
    });
}

void XSelections::readTargets(xcb_atom_t selection, Deadline deadline,
                              std::function<void(std::optional<QByteArrayList>)> done) {
    const xcb_atom_t targets = thread.connection().atom("TARGETS");
    reader.read({selection, targets, deadline}, [this, done = std::move(done)](const SelectionReading& reading) {
        if (reading.end == SelectionReading::End::Data)
            done(atomNames(thread.connection(), reading));
        else if (reading.end == SelectionReading::End::Refused)
            done(textTargets()); // an owner too simple to list what it has
        else
            done({});
    });
}

bool XSelections::borrow(Selection selection, const QString& text, qint32 wanted) {
    auto& last = lastReadOf(selection);
    last.reset();
    if (selection == Selection::Clipboard)
        forgetCatch();
    return serverOf(selection).own(
        textContent(text),
        [&last](const SelectionServer::Request& request) {
            if (request.served)
                last = std::chrono::steady_clock::now();
        },
        wanted);
}

} // namespace ovalin
