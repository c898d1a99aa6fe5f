#include "AskHistory.h"

#include "TitleJob.h"

#include "base/SetAside.h"
#include "base/WholeFile.h"
#include "base/Log.h"

#include <QFileInfo>

namespace ovalin {

namespace {

constexpr qint64 LARGEST_FILE = qint64{32} << 20; // bytes; twenty entries of ours take 100,000

FileResult<AskHistoryEntries> parse(const QByteArray& bytes) {
    if (bytes.size() > LARGEST_FILE)
        return tl::unexpected(QStringLiteral("it has %1 bytes").arg(bytes.size()));
    return parseAskHistory(bytes);
}

/// Reads, changes and replaces the file; `change` tells whether there is anything to write.
void updateHistory(const QString& path, const std::function<bool(AskHistoryEntries&)>& change) {
    auto entries = readOrSetAside(path, QStringLiteral("past conversations"), parse);
    if (!entries) { // better a turn lost than a file
        logLine(QStringLiteral("Ovalin: past conversations are left as they are — ") + entries.error());
        return;
    }
    if (change(*entries) && ensureFolder(QFileInfo(path).path()))
        (void)replaceFile(path, askHistoryBytes(*entries));
}

} // namespace

AskHistory::AskHistory(Dispatch& theDispatch, QString path, AgentSearch agentSearch, std::stop_token stop)
    : dispatch(theDispatch)
    , askHistoryPath(std::move(path))
    , search(std::move(agentSearch))
    , programEnds(std::move(stop)) {}

QString AskHistory::storePath(const QString& systemDir) {
    return systemDir + QStringLiteral("/ovalin-ask-history.json");
}

void AskHistory::persistAskTurn(const AskTurn& turn) {
    if (turn.sessionId.isEmpty() || turn.question.isEmpty())
        return;
    dispatch.inBackground(
        Queue::Files, this,
        [path = askHistoryPath, turn, now = dispatch.wallClock()] {
            Stored stored = Stored::Updated;
            updateHistory(path, [&](AskHistoryEntries& entries) {
                stored = storeTurn(entries, turn, now);
                return true;
            });
            return stored;
        },
        [this, sid = turn.sessionId, question = turn.opening()](Stored stored) {
            if (stored == Stored::Created)
                generateAskTitle(sid, question);
        });
}

void AskHistory::evictAskHistory(const QString& id) {
    dispatch.run(Queue::Files, [path = askHistoryPath, id] {
        updateHistory(path, [&](AskHistoryEntries& entries) {
            removeEntries(entries, id);
            return true;
        });
    });
}

void AskHistory::loadAskHistory(QObject* context, std::function<void(const AskHistoryEntries&)> done) {
    dispatch.inBackground(
        Queue::Files, context,
        [path = askHistoryPath] {
            return readWholeFile(path)
                .and_then([](const FileContents& file) { return parse(file.bytes); })
                .value_or(AskHistoryEntries());
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
            dispatch.run(Queue::Files, [path = askHistoryPath, sid, title = *title] {
                updateHistory(path, [&](AskHistoryEntries& entries) { return setTitle(entries, sid, title); });
            });
        });
}

} // namespace ovalin
