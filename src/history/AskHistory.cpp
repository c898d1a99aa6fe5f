#include "AskHistory.h"

#include "TitleJob.h"

#include "base/SetAside.h"
#include "base/WholeFile.h"
#include "base/Log.h"

#include <QDir>
#include <QFileInfo>

#include <deque>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qint64 LARGEST_FILE = qint64{32} << 20; // bytes; an archive of a thousand takes 13 MB at most

FileResult<AskHistoryEntries> parse(const QByteArray& bytes) {
    if (bytes.size() > LARGEST_FILE)
        return tl::unexpected(u"it has %1 bytes"_s.arg(bytes.size()));
    return parseAskHistory(bytes);
}

QString archivePathOf(const QString& path) {
    const QFileInfo file(path);
    return file.dir().filePath(file.completeBaseName() + u"-archive."_s + file.suffix());
}

AskHistoryEntries read(const QString& path) {
    return readWholeFile(path)
        .and_then([](const FileContents& file) { return parse(file.bytes); })
        .value_or(AskHistoryEntries());
}

/// The conversations while they are changed. Most changes never look into the archive, which is large.
struct Conversations {
    const QString& archivePath;
    AskHistoryEntries recent;
    std::optional<AskHistoryEntries> archived{};
    bool archiveChanged = false;
    bool readable = true; ///< the archive

    AskHistoryEntries& archive() {
        if (!archived) {
            const auto found = readOrSetAside(archivePath, u"archived conversations"_s, parse);
            if (!found)
                logLine(u"Ovalin: the archive of conversations is left as it is — "_s + found.error());
            archived = found.value_or(AskHistoryEntries());
            readable = found.has_value();
        }
        return *archived;
    }
    void forget(const QString& id) {
        removeEntries(recent, id);
        if (!entryWithId(archive(), id))
            return;
        removeEntries(archive(), id);
        archiveChanged = readable;
    }
    Stored store(const AskTurn& turn, const QDateTime& now) {
        if (!entryWithId(recent, turn.sessionId)) {
            if (const auto earlier = entryWithId(archive(), turn.sessionId)) {
                forget(turn.sessionId);
                recent.prepend(*earlier);
            }
        }
        const Stored stored = storeTurn(recent, turn, now);
        if (const AskHistoryEntries surplus = takeSurplus(recent); !surplus.isEmpty()) {
            putAway(archive(), surplus);
            archiveChanged = readable; // else what is there would be lost
        }
        return stored;
    }
};

/// Tells whether there is anything to write.
using Change = std::function<bool(Conversations&)>;

constexpr size_t MOST_WAITING = 200;

} // namespace

/// The files, and the changes that are not in them yet. On the file queue alone.
struct AskHistory::Store {
    const QString path;
    const QString archivePath;
    std::deque<Change> waiting;

    void update(Change change) {
        waiting.push_back(std::move(change));
        if (waiting.size() > MOST_WAITING)
            waiting.pop_front();
        writeWaiting();
    }
    void writeWaiting() {
        auto entries = readOrSetAside(path, u"past conversations"_s, parse);
        const auto written =
            entries ? write({archivePath, *std::move(entries)}) : FileResult<void>(tl::unexpected(entries.error()));
        if (written)
            waiting.clear();
        else
            logLine(u"Ovalin: past conversations are left as they are — "_s + written.error());
    }
    FileResult<void> write(Conversations all) {
        if (!apply(all))
            return {};
        // The archive first: what stands in both is no loss.
        return ensureFolder(QFileInfo(path).path())
            .and_then([&] {
                return all.archiveChanged ? replaceFile(archivePath, askHistoryBytes(*all.archived))
                                          : FileResult<void>();
            })
            .and_then([&] { return replaceFile(path, askHistoryBytes(all.recent)); });
    }
    bool apply(Conversations& all) {
        bool changed = false;
        for (const Change& change : waiting)
            changed |= change(all);
        return changed;
    }
    Conversations load() {
        Conversations all{archivePath, read(path)};
        apply(all);
        return all;
    }
    /// The archive without a word about what is wrong with it.
    AskHistoryEntries archive(const Conversations& all) const { return all.archived.value_or(read(archivePath)); }
};

AskHistory::AskHistory(Dispatch& theDispatch, const QString& path, AgentSearch agentSearch, std::stop_token stop)
    : dispatch(theDispatch)
    , store(std::make_shared<Store>(Store{path, archivePathOf(path), {}}))
    , search(std::move(agentSearch))
    , programEnds(std::move(stop)) {}

QString AskHistory::storePath(const QString& systemDir) { return systemDir + u"/ovalin-ask-history.json"_s; }

QString AskHistory::archivePath(const QString& systemDir) { return archivePathOf(storePath(systemDir)); }

void AskHistory::persistAskTurn(const AskTurn& turn) {
    if (turn.sessionId.isEmpty() || turn.question.isEmpty())
        return;
    dispatch.inBackground(
        Queue::Files, this,
        [store = store, turn, now = dispatch.wallClock()] {
            const auto stored = std::make_shared<Stored>(Stored::Updated);
            store->update([stored, turn, now](Conversations& all) {
                *stored = all.store(turn, now);
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
        store->update([id](Conversations& all) {
            all.forget(id);
            return true;
        });
    });
}

void AskHistory::loadAskHistory(QObject* context, std::function<void(const AskHistoryEntries&)> done) {
    dispatch.inBackground(
        Queue::Files, context, [store = store] { return store->load().recent; }, std::move(done));
}

void AskHistory::findAskSession(QObject* context, const QString& id,
                                std::function<void(const std::optional<QJsonObject>&)> done) {
    dispatch.inBackground(
        Queue::Files, context,
        [store = store, id] {
            const Conversations all = store->load();
            const auto listed = entryWithId(all.recent, id);
            return listed ? listed : entryWithId(store->archive(all), id);
        },
        std::move(done));
}

void AskHistory::loadIndex(QObject* context,
                           std::function<void(const std::shared_ptr<const ConversationIndex>&)> done) {
    dispatch.inBackground(
        Queue::Files, context,
        [store = store] {
            const Conversations all = store->load();
            return all.recent + store->archive(all);
        },
        [this, guard = QPointer(context), done = std::move(done)](const AskHistoryEntries& entries) {
            // A request may be waiting for the file queue.
            dispatch.inBackground(
                Queue::Utility, guard, [entries] { return std::make_shared<const ConversationIndex>(entries); }, done);
        });
}

void AskHistory::generateAskTitle(const QString& sid, const QString& question) {
    dispatch.inBackground(
        Queue::Jobs, this,
        [search = search, question, stop = programEnds] { return askForTitle(search, question, stop); },
        [this, sid](const std::optional<QString>& title) {
            if (!title)
                return;
            dispatch.run(Queue::Files, [store = store, sid, title = *title] {
                store->update([sid, title](Conversations& all) { return setTitle(all.recent, sid, title); });
            });
        });
}

} // namespace ovalin
