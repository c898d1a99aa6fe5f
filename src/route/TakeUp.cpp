#include "TakeUp.h"

#include "base/Json.h"
#include "base/WholeFile.h"
#include "base/Log.h"
#include "base/children/ProcessTree.h"
#include "base/TemporaryFile.h"
#include "route/CapturesLedger.h"
#include "route/Router.h"

#include <QDir>
#include <QJsonArray>
#include <QThread>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

// What was asked longer ago is hardly wanted any more, and nobody expects it to begin.
constexpr qint64 LONGEST_AGO = qint64{30} * 24 * 3600 * 1000;

constexpr qsizetype MOST_LAUNCHED = 20;

// Another copy is done with a temporary file by then.
constexpr qint64 AT_WORK_MS = 60'000;

const QString INTERRUPTED = u"It was begun when Ovalin or the computer stopped, and nobody knows how far it came — "
                            "send it again if it is still wanted"_s;

struct Places {
    const Paths& paths;
    [[nodiscard]] QString queueFile(const QString& id) const { return queueFilePath(paths.queueDir, id); }
    [[nodiscard]] QString picture(const QString& id) const {
        return paths.queueDir + QLatin1Char('/') + id + u".png"_s;
    }
    [[nodiscard]] bool processed(const QString& id) const {
        return QFile::exists(paths.queueDir + u"/processed/"_s + id + u".json"_s);
    }
};

/// The ledger; an empty one where it is damaged; absent where it cannot be read, and nobody can tell what is done.
std::optional<QJsonObject> readLedger(const QString& file) {
    const auto read = readWholeFile(file);
    if (!read) {
        logLine(u"Ovalin: unfinished requests are left — "_s + read.error());
        return std::nullopt;
    }
    return parseLedger(read->bytes).value_or(QJsonObject());
}

using Requests = std::map<std::pair<qint64, QString>, QueueItem>; // oldest first

/// What says "queued", in the ledger or, where that does not know it, in its queue file.
Requests queuedRequests(const QJsonObject& ledger, const Paths& paths, qint64 startedAt) {
    Requests found;
    const auto add = [&](const QJsonObject& entry) {
        const auto item = QueueItem::fromEntry(entry);
        const qint64 time = item ? *timeOfId(item->id) : 0;
        if (item && entry.value(u"status"_s).toString() == QUEUED && time < startedAt && time > startedAt - LONGEST_AGO)
            found.emplace(std::pair(time, item->id), *item);
    };
    for (const auto& entry : ledger.value(u"items"_s).toArray())
        add(entry.toObject());
    const QDir queue(paths.queueDir);
    for (const QString& name : queue.entryList({u"cap-*.json"_s}, QDir::Files)) {
        const auto file = readWholeFile(queue.filePath(name));
        const auto entry = file ? parseObject(file->bytes) : tl::unexpected(file.error());
        if (entry && name == entry->value(u"id"_s).toString() + u".json"_s &&
            entryIn(ledger, entry->value(u"id"_s).toString()).isEmpty())
            add(*entry);
    }
    return found;
}

/// Whether it has its queue file (again).
bool queueFileStands(QueueItem item, const Places& places) {
    if (QFile::exists(places.queueFile(item.id)))
        return true;
    if (QFile::exists(places.picture(item.id)))
        item.screenshot = places.picture(item.id);
    const auto written = writeQueueFile(places.paths.queueDir, item);
    if (!written)
        logLine(u"Ovalin: queue write failed — "_s + written.error());
    return written.has_value();
}

/// One that is just being launched can be missed by a single look.
bool hasRouter(const QString& id) {
    for (int looks = 0; looks < 2; ++looks) {
        if (!processesNaming(id.toUtf8()).empty())
            return true;
        QThread::msleep(50);
    }
    return false;
}

/// True once for each: later the ledger says that it needs attention.
bool settleInterrupted(const QueueItem& item, const Paths& paths) {
    std::ignore = appendToCaptures(paths.capturesFile, item); // where an entry is missing
    return settleCapture(paths.capturesFile, item.id, NEEDS_ATTENTION, INTERRUPTED).value_or(false);
}

} // namespace

TakenUp takeUpRequests(const Paths& paths, const QDateTime& startedAt) {
    const Places places{paths};
    const QStringList folders = undeliveredFolders(paths.systemDir, paths.runtimeDir);
    TakenUp found;
    QStringList undeliveredIds;
    for (const Undelivered& request : keptUndelivered(folders)) {
        const QString& id = request.item.id;
        if (QFile::exists(places.queueFile(id)) || places.processed(id)) { // killed between the two
            forgetUndelivered(folders, id);
            continue;
        }
        found.undelivered.append(request);
        undeliveredIds.append(id);
    }
    const auto ledger = readLedger(paths.capturesFile);
    if (!ledger)
        return found;
    QList<QueueItem> waiting;
    for (const auto& [key, item] : queuedRequests(*ledger, paths, startedAt.toMSecsSinceEpoch())) {
        if (undeliveredIds.contains(item.id) || places.processed(item.id))
            continue;
        if (!QFile::exists(routerMark(places.queueFile(item.id)))) {
            waiting.append(item);
        } else if (!hasRouter(item.id) && settleInterrupted(item, paths)) {
            found.interrupted.append(item);
        }
    }
    found.left = std::max<qsizetype>(waiting.size() - MOST_LAUNCHED, 0);
    for (const QueueItem& item : waiting.sliced(found.left)) {
        if (queueFileStands(item, places))
            found.launch.append(item);
    }
    return found;
}

void sweepLeftOvers(const Paths& paths, const QDateTime& startedAt, bool anotherCopyRuns) {
    const QDateTime before = anotherCopyRuns ? startedAt.addMSecs(-AT_WORK_MS) : startedAt;
    const QString marks = QFileInfo(routerMark(paths.queueDir + u"/x"_s)).path();
    QStringList folders = undeliveredFolders(paths.systemDir, paths.runtimeDir);
    folders += {paths.systemDir, paths.queueDir, marks, paths.binDir, QFileInfo(paths.heartbeatFile).path()};
    for (const QFileInfo& store : QDir(paths.systemDir).entryInfoList({u"*.json"_s}, QDir::Files)) {
        if (store.isSymLink()) // what replaces it lies where the link leads
            folders.append(QFileInfo(store.canonicalFilePath()).path());
    }
    for (const QString& folder : std::as_const(folders))
        sweepTemporaryFiles(folder, before);
    sweepFiles(QDir::tempPath(), u"ovalin-shot-*.png*"_s, before);

    const Places places{paths};
    sweepFiles(paths.queueDir, u"cap-*.png"_s, before,
               [&](const QString& id) { return QFile::exists(places.queueFile(id)); });
    const auto ledger = readLedger(paths.capturesFile);
    sweepFiles(marks, u"cap-*"_s, before, [&](const QString& id) {
        return !ledger || QFile::exists(places.queueFile(id)) ||
               entryIn(*ledger, id).value(u"status"_s).toString() == QUEUED;
    });
}

} // namespace ovalin
