#include "AskHistory.h"

#include "TitleJob.h"

#include "base/SetAside.h"
#include "base/WholeFile.h"
#include "base/Log.h"

#include <QFileInfo>

#include <deque>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qint64 LARGEST_FILE = qint64{32} << 20; // bytes; twenty entries of ours take 100,000

FileResult<AskHistoryEntries> parse(const QByteArray& bytes) {
    if (bytes.size() > LARGEST_FILE)
        return tl::unexpected(u"it has %1 bytes"_s.arg(bytes.size()));
    return parseAskHistory(bytes);
}

/// Tells whether there is anything to write.
using Change = std::function<bool(AskHistoryEntries&)>;

constexpr size_t MOST_WAITING = 200;

} // namespace

/// The file, and the changes that are not in it yet. On the file queue alone.
struct AskHistory::Store {
    const QString path;
    std::deque<Change> waiting;

    void update(Change change) {
        waiting.push_back(std::move(change));
        if (waiting.size() > MOST_WAITING)
            waiting.pop_front();
        writeWaiting();
    }
    void writeWaiting() {
        auto entries = readOrSetAside(path, u"past conversations"_s, parse);
        const auto written = entries ? write(*entries) : tl::unexpected(entries.error());
        if (written)
            waiting.clear();
        else
            logLine(u"Ovalin: past conversations are left as they are — "_s + written.error());
    }
    FileResult<void> write(AskHistoryEntries& entries) {
        if (!apply(entries))
            return {};
        return ensureFolder(QFileInfo(path).path()).and_then([&] {
            return replaceFile(path, askHistoryBytes(entries));
        });
    }
    bool apply(AskHistoryEntries& entries) {
        bool changed = false;
        for (const Change& change : waiting)
            changed |= change(entries);
        return changed;
    }
};

AskHistory::AskHistory(Dispatch& theDispatch, QString path, AgentSearch agentSearch, std::stop_token stop)
    : dispatch(theDispatch)
    , store(std::make_shared<Store>(Store{std::move(path), {}}))
    , search(std::move(agentSearch))
    , programEnds(std::move(stop)) {}

QString AskHistory::storePath(const QString& systemDir) { return systemDir + u"/ovalin-ask-history.json"_s; }

void AskHistory::persistAskTurn(const AskTurn& turn) {
    if (turn.sessionId.isEmpty() || turn.question.isEmpty())
        return;
    dispatch.inBackground(
        Queue::Files, this,
        [store = store, turn, now = dispatch.wallClock()] {
            const auto stored = std::make_shared<Stored>(Stored::Updated);
            store->update([stored, turn, now](AskHistoryEntries& entries) {
                *stored = storeTurn(entries, turn, now);
                return true;
            });
            return *stored;
        },
        [this, sid = turn.sessionId, question = turn.opening()](Stored stored) {
            if (stored == Stored::Created)
                generateAskTitle(sid, question);
        });
}

void AskHistory::saveAgain() {
    dispatch.run(Queue::Files, [store = store] {
        if (!store->waiting.empty())
            store->writeWaiting();
    });
}

void AskHistory::forget() {
    dispatch.run(Queue::Files, [store = store] { store->waiting.clear(); });
}

void AskHistory::evictAskHistory(const QString& id) {
    dispatch.run(Queue::Files, [store = store, id] {
        store->update([id](AskHistoryEntries& entries) {
            removeEntries(entries, id);
            return true;
        });
    });
}

void AskHistory::loadAskHistory(QObject* context, std::function<void(const AskHistoryEntries&)> done) {
    dispatch.inBackground(
        Queue::Files, context,
        [store = store] {
            auto entries = readWholeFile(store->path)
                               .and_then([](const FileContents& file) { return parse(file.bytes); })
                               .value_or(AskHistoryEntries());
            store->apply(entries);
            return entries;
        },
        [done = std::move(done)](const AskHistoryEntries& entries) { done(entries); });
}

void AskHistory::generateAskTitle(const QString& sid, const QString& question) {
    dispatch.inBackground(
        Queue::Jobs, this,
        [search = search, question, stop = programEnds] { return askForTitle(search, question, stop); },
        [this, sid](const std::optional<QString>& title) {
            if (!title)
                return;
            dispatch.run(Queue::Files, [store = store, sid, title = *title] {
                store->update([sid, title](AskHistoryEntries& entries) { return setTitle(entries, sid, title); });
            });
        });
}

} // namespace ovalin
