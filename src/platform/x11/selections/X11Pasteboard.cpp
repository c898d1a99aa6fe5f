#include "X11Pasteboard.h"

#include "SelectionChanges.h"
#include "SelectionReader.h"
#include "SelectionServer.h"
#include "base/Log.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/targets/TargetRules.h"
#include "platform/x11/targets/VimServer.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>

#include <array>
#include <utility>

namespace ovalin {

namespace {

constexpr std::chrono::seconds OWN_DEADLINE{2};

using TextDone = std::function<void(std::optional<QString>)>;

/// Vim takes PRIMARY when a highlight begins, and does not renew it while keys make it longer.
bool isShownByVim(xcb_window_t owner, qint32 pid) {
    xcb_connection_t* connection = qtConnection();
    if (!connection || !isVim(QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid))).fileName()))
        return false;
    const auto vim = VimServer::of(connection, owner, pid);
    return vim && vim->hasSelection();
}

QByteArrayList atomNames(XConnection& server, const SelectionReading& targets) {
    if (targets.format != 32)
        return {};
    const auto* first = reinterpret_cast<const xcb_atom_t*>(targets.bytes.constData());
    const auto names = server.atomNames({first, first + targets.bytes.size() / 4});
    return {names.begin(), names.end()};
}

} // namespace

/// What lives on the X thread.
class X11Pasteboard::Parts {
public:
    Parts(XThread& xThread, const ActivityClock& activity, std::atomic<quint64>& clipboardChanges);

    xcb_atom_t atom(Selection selection) const { return selection == Selection::Primary ? primary : clipboard; }
    void readText(xcb_atom_t selection, Deadline deadline, TextDone done) { readText(selection, deadline, 0, done); }
    [[nodiscard]] xcb_window_t ownerOf(xcb_atom_t selection);
    [[nodiscard]] xcb_window_t primaryOwnerIn(qint32 pid);
    void readPrimary(xcb_window_t owner, Freshness freshness, Deadline deadline, TextDone done);
    void readTargets(xcb_atom_t selection, Deadline deadline, std::function<void(std::optional<QByteArrayList>)> done);

    XThread& thread;
    const ActivityClock& clock;
    const xcb_atom_t clipboard;
    const xcb_atom_t primary = XCB_ATOM_PRIMARY;
    SelectionReader reader;
    SelectionServer server;
    SelectionServer primaryServer;
    std::array<std::optional<Deadline>, 2> lastRead; // by the reader of the loan of each Selection

    [[nodiscard]] quint64 changesOf(Selection selection, const std::atomic<quint64>& clipboardChanges) const {
        return selection == Selection::Primary ? primaryState.changes : clipboardChanges.load();
    }
    SelectionServer& serverOf(Selection selection) { return selection == Selection::Primary ? primaryServer : server; }
    std::optional<Deadline>& lastReadOf(Selection selection) { return lastRead.at(static_cast<size_t>(selection)); }
    bool borrow(Selection selection, const QString& text, qint32 reader);

private:
    struct PrimaryState {
        quint64 changes = 0;
        xcb_window_t owner = XCB_WINDOW_NONE;
        std::optional<quint32> since; // of that owner; none when it was set before our start
    };

    void readText(xcb_atom_t selection, Deadline deadline, qsizetype attempt, const TextDone& done);
    void readPrimaryTime(Deadline deadline, std::function<void(std::optional<quint32>)> done);
    [[nodiscard]] ActivityClock::Reading inTerminal(xcb_window_t owner);

    PrimaryState primaryState;
    SelectionChanges changes;
};

X11Pasteboard::Parts::Parts(XThread& xThread, const ActivityClock& activity, std::atomic<quint64>& clipboardChanges)
    : thread(xThread)
    , clock(activity)
    , clipboard(xThread.connection().atom("CLIPBOARD"))
    , reader(xThread)
    , server(xThread, clipboard)
    , primaryServer(xThread, primary)
    , changes(xThread, [this, &clipboardChanges](const SelectionChanges::Change& change) {
        if (change.selection == clipboard) {
            ++clipboardChanges;
        } else {
            ++primaryState.changes;
            primaryState.owner = change.owner;
            primaryState.since = change.time;
        }
        if (change.ownerDied)
            reader.ownerGone(change.selection);
    }) {}

xcb_window_t X11Pasteboard::Parts::ownerOf(xcb_atom_t selection) {
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t X11Pasteboard::Parts::primaryOwnerIn(qint32 pid) {
    const xcb_window_t owner = ownerOf(primary);
    return thread.connection().clientPid(owner) == pid ? owner : xcb_window_t{XCB_WINDOW_NONE};
}

void X11Pasteboard::Parts::readText(xcb_atom_t selection, Deadline deadline, qsizetype attempt, const TextDone& done) {
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

void X11Pasteboard::Parts::readPrimaryTime(Deadline deadline, std::function<void(std::optional<quint32>)> done) {
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
ActivityClock::Reading X11Pasteboard::Parts::inTerminal(xcb_window_t owner) {
    xcb_connection_t* c = thread.connection().get();
    std::vector<quint32> around;
    bool terminal = false;
    for (xcb_window_t at = owner; at != XCB_WINDOW_NONE && at != thread.connection().root() && around.size() < 10;) {
        around.push_back(at);
        const auto classAsked = xcb_get_property(c, 0, at, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64);
        const auto treeAsked = xcb_query_tree(c, at);
        const XReply<xcb_get_property_reply_t> names(xcb_get_property_reply(c, classAsked, nullptr));
        const XReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, treeAsked, nullptr));
        if (names) {
            const QByteArray bytes(static_cast<const char*>(xcb_get_property_value(names.get())),
                                   xcb_get_property_value_length(names.get()));
            for (const QByteArray& name : bytes.split('\0'))
                terminal = terminal || isTerminal(QString::fromLatin1(name));
        }
        at = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
    }
    return terminal ? clock.readIn(around) : ActivityClock::Reading{};
}

void X11Pasteboard::Parts::readPrimary(xcb_window_t owner, Freshness freshness, Deadline deadline, TextDone done) {
    if (primaryState.since && primaryState.owner != owner) {
        done({});
        return;
    }
    auto readNow = [this, deadline, before = primaryState.changes, done] {
        readText(primary, deadline, [this, before, done](std::optional<QString> text) {
            // Another owner since we looked: the text may be that one's.
            done(primaryState.changes == before ? std::move(text) : std::nullopt);
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

void X11Pasteboard::Parts::readTargets(xcb_atom_t selection, Deadline deadline,
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

X11Pasteboard::X11Pasteboard(XThread& xThread, const ActivityClock& clock, const PasteboardLimits& theLimits)
    : thread(xThread)
    , limits(theLimits) {
    thread.post([this, &clock] { parts = std::make_unique<Parts>(thread, clock, clipboardChanges); });
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
                                         [this, window = *owner, freshness, deadline](TextDone answer) {
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
            [this, deadline](TextDone answer) { parts->readText(parts->clipboard, deadline, std::move(answer)); })
        .value_or(std::nullopt);
}

struct X11Pasteboard::Reading {
    Selection selection;
    Deadline targetsBy;
    Deadline deadline;
    qsizetype bytes;
    bool partly; // what cannot be had may be missing
};

std::optional<PasteboardSnapshot> X11Pasteboard::snapshot() {
    const Deadline deadline = deadlineIn(limits.snapshot.time);
    return readOnce({Selection::Clipboard, deadline, deadline, limits.snapshot.bytes, false});
}

PasteboardSnapshot X11Pasteboard::save(Selection selection) {
    const Deadline deadline = deadlineIn(limits.save.time);
    // Once more when somebody took it meanwhile: what was read is neither the one nor the other.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (auto snapshot = readOnce({selection, deadlineIn(limits.saveTargets), deadline, limits.save.bytes, true}))
            return std::move(*snapshot);
    }
    return {true, {}, 0, false};
}

std::optional<PasteboardSnapshot> X11Pasteboard::readOnce(const Reading& how) {
    PasteboardSnapshot snapshot;
    const auto owner = thread.call(how.deadline, [this, how] { return parts->ownerOf(parts->atom(how.selection)); });
    if (!owner)
        return {};
    snapshot.owned = *owner != XCB_WINDOW_NONE;
    // A second task: the changes that the server told of until then are counted before it.
    const auto changes = [this, how] { return parts->changesOf(how.selection, clipboardChanges); };
    const auto count = thread.call(how.deadline, changes);
    if (!count)
        return {};
    snapshot.changeCount = *count;
    if (snapshot.owned)
        snapshot.complete = readItems(snapshot, how) && !snapshot.items.empty();
    const auto countAfter = thread.call(how.deadline + OWN_DEADLINE, changes); // the owner may have used up the time
    if (!countAfter ||
        (how.partly ? *countAfter != snapshot.changeCount : !snapshot.complete || !isFaithful(snapshot, *countAfter)))
        return {};
    return snapshot;
}

bool X11Pasteboard::readItems(PasteboardSnapshot& snapshot, const Reading& how) {
    const Deadline deadline = how.deadline;
    const xcb_atom_t selection = parts->atom(how.selection);
    const auto offered =
        thread
            .ask<std::optional<QByteArrayList>>(how.targetsBy,
                                                [this, selection, by = how.targetsBy](auto answer) {
                                                    parts->readTargets(selection, by, std::move(answer));
                                                })
            .value_or(std::nullopt);
    if (!offered)
        return false;
    const QByteArrayList targets = targetsToTake(*offered);
    qsizetype room = how.bytes;
    bool complete = true;
    for (const QByteArray& target : targets + furtherPictures(*offered)) {
        struct Named {
            SelectionReading reading;
            QByteArray type;
        };
        const auto read = thread.ask<Named>(deadline, [this, selection, target, deadline, room](auto answer) {
            const SelectionReader::Request request{selection, thread.connection().atom(target), deadline, room};
            parts->reader.read(request, [this, answer](SelectionReading reading) {
                QByteArray type = thread.connection().atomName(reading.type);
                answer({std::move(reading), std::move(type)});
            });
        });
        const auto end = read ? read->reading.end : SelectionReading::End::Late;
        if (end == SelectionReading::End::Refused)
            continue; // listed, but not to be had: nobody else could have it either
        if (end != SelectionReading::End::Data) {
            complete = complete && !targets.contains(target);
            if (end == SelectionReading::End::Late)
                break;
            continue;
        }
        room -= read->reading.bytes.size();
        snapshot.items.push_back({target, read->type, read->reading.format, read->reading.bytes});
    }
    return complete;
}

bool X11Pasteboard::Parts::borrow(Selection selection, const QString& text, qint32 wanted) {
    auto& last = lastReadOf(selection);
    last.reset();
    return serverOf(selection).own(
        textContent(text),
        [&last](const SelectionServer::Request& request) {
            if (request.served)
                last = std::chrono::steady_clock::now();
        },
        wanted);
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

void X11Pasteboard::restore(PasteboardSnapshot snapshot) {
    auto content = std::make_shared<PasteboardSnapshot>(std::move(snapshot));
    const auto restored = thread.call(deadlineIn(OWN_DEADLINE), [this, content] {
        if (!needsRestore(*content, clipboardChanges))
            return true;
        if (content->owned)
            return parts->server.own(std::move(content->items));
        parts->server.clear();
        return true;
    });
    if (!restored.value_or(false))
        logLine(QStringLiteral("Ovalin: the clipboard could not be put back"));
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
