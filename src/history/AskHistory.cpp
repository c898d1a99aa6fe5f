#include "AskHistory.h"

#include "TitleJob.h"

#include "base/JsonFile.h"
#include "base/Log.h"

#include <QFileInfo>

namespace ovalin {

namespace {

constexpr qint64 LARGEST_FILE = qint64{32} << 20; // bytes; twenty entries of ours take 100,000

FileResult<AskHistoryEntries> readHistory(const QString& path, const FileVersion& version) {
    if (!version.exists)
        return AskHistoryEntries();
    if (version.size > LARGEST_FILE)
        return tl::unexpected(QStringLiteral("it has %1 bytes").arg(version.size));
    return readWholeFile(path).and_then([](const FileContents& file) { return parseAskHistory(file.bytes); });
}

/// Reads, changes and replaces the file; `change` tells whether there is anything to write.
void updateHistory(const QString& path, const std::function<bool(AskHistoryEntries&)>& change) {
    const FileVersion version = versionOf(path);
    const auto read = readHistory(path, version);
    AskHistoryEntries entries = read.value_or(AskHistoryEntries());
    if (!change(entries))
        return;
    (void)ensureFolder(QFileInfo(path).path());
    if (!read) {
        const auto aside = setAside(path, version);
        if (!aside)
            return; // better a turn lost than a file
        logLine(QStringLiteral("Ovalin: past conversations set aside as %1 — %2").arg(*aside, read.error()));
    }
    (void)replaceFile(path, askHistoryBytes(entries));
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
        [path = askHistoryPath] { return readHistory(path, versionOf(path)).value_or(AskHistoryEntries()); },
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
