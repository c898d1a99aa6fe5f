#include "RequestList.h"

#include "CapturesLedger.h"
#include "Router.h"
#include "RunningRouters.h"

#include "base/Json.h"
#include "base/RelTime.h"
#include "base/Text.h"
#include "base/WholeFile.h"

#include <QDir>
#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype MOST_LISTED = 200;
constexpr qsizetype LONGEST_LINE = 300;     // user-perceived characters; more never fits a row
constexpr qsizetype LONGEST_EXCERPT = 2000; // the same
constexpr qsizetype MOST_LOG_LINES = 40;
constexpr qint64 MOST_LOG = qint64{256} * 1024; // bytes
constexpr qsizetype LONGEST_STATE = 40;

QString text(const QJsonObject& entry, const char* key) { return entry.value(QLatin1String(key)).toString(); }
QString summaryOf(const QJsonObject& entry) { return entry.value("result"_L1)["summary"_L1].toString(); }

/// Its first words, wherever another tool keeps them.
QString wordsOf(const QJsonObject& entry) {
    for (const char* key : {"prompt", "text", "title"}) {
        if (const QString words = onOneLine(text(entry, key), LONGEST_LINE); !words.isEmpty())
            return words;
    }
    return onOneLine(summaryOf(entry), LONGEST_LINE);
}

/// What tells it from others; entries of other tools may have no id.
QString keyOf(const QJsonObject& entry) {
    const QString id = text(entry, "id");
    return !id.isEmpty() ? id : u"#%1"_s.arg(qHashMulti(0, text(entry, "ts"), wordsOf(entry)));
}

PastRequest::State stateOf(const QString& status) {
    return status == QUEUED            ? PastRequest::State::Queued
           : status == NEEDS_ATTENTION ? PastRequest::State::NeedsAttention
           : status == "ready"_L1      ? PastRequest::State::Ready
                                       : PastRequest::State::Other;
}

PastRequest listed(const QJsonObject& entry, const QDateTime& now) {
    PastRequest request;
    request.id = keyOf(entry);
    request.words = wordsOf(entry);
    request.age = relTime(text(entry, "ts"), now);
    request.app = onOneLine(text(entry, "source_app"), LONGEST_LINE);
    request.stateName = onOneLine(text(entry, "status"), LONGEST_LINE).left(LONGEST_STATE);
    request.state = stateOf(request.stateName);
    request.summary = onOneLine(summaryOf(entry), LONGEST_LINE);
    request.ours = timeOfId(request.id).has_value();
    return request;
}

/// Milliseconds since 1970; an entry without a time is as old as the one before it.
qint64 timeOf(const QJsonObject& entry, qint64 before) {
    if (const auto ours = timeOfId(text(entry, "id")))
        return *ours;
    const QDateTime time = QDateTime::fromString(text(entry, "ts"), Qt::ISODate);
    return time.isValid() ? time.toMSecsSinceEpoch() : before;
}

/// Newest first. The error is short.
tl::expected<QList<QJsonObject>, QString> readEntries(const Paths& paths) {
    const auto file = readWholeFile(paths.capturesFile);
    if (!file)
        return tl::unexpected(u"the ledger cannot be read: "_s + shortReason(file.error()));
    if (file->bytes.trimmed().isEmpty())
        return QList<QJsonObject>();
    const auto ledger = parseObject(file->bytes);
    if (!ledger)
        return tl::unexpected(u"the ledger is no JSON object just now"_s);
    QList<std::pair<qint64, QJsonObject>> dated;
    qint64 time = std::numeric_limits<qint64>::max();
    for (const auto& value : ledger->value("items"_L1).toArray()) {
        const QJsonObject entry = value.toObject();
        if (entry.isEmpty())
            continue;
        time = timeOf(entry, time);
        dated.append({time, entry});
    }
    std::stable_sort(dated.begin(), dated.end(),
                     [](const auto& one, const auto& other) { return one.first > other.first; });
    QList<QJsonObject> entries;
    for (const auto& [when, entry] : dated)
        entries.append(entry);
    return entries;
}

void findWorking(QList<PastRequest*> requests, const Paths& paths) {
    requests.removeIf([&](const PastRequest* request) {
        return request->state != PastRequest::State::Queued || !request->ours ||
               !QFile::exists(routerMark(queueFilePath(paths.queueDir, request->id)));
    });
    if (requests.isEmpty())
        return;
    const auto routers = runningRouters();
    for (PastRequest* request : requests) {
        if (!routers.contains(request->id))
            continue;
        request->state = PastRequest::State::Working;
        request->stateName = u"working"_s;
    }
}

/// Where it is by now; empty: nowhere.
QString presentQueueFile(const Paths& paths, const QString& id) {
    for (const QString& folder : {paths.queueDir, paths.queueDir + u"/processed"_s}) {
        if (const QString file = queueFilePath(folder, id); QFile::exists(file))
            return file;
    }
    return {};
}

/// While its mark is there all that was printed behind it, until its router ended; later the lines that name it.
QString logOf(const Paths& paths, const QString& id) {
    QFile file(paths.routerLog);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto from = readMark(queueFilePath(paths.queueDir, id)).logBefore;
    if (!file.seek(std::clamp<qint64>(from.value_or(0), std::max<qint64>(0, file.size() - MOST_LOG), file.size())))
        return {};
    QStringList lines;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        const bool names = line.contains(id);
        if (from || names)
            lines.append(onOneLine(line, LONGEST_LINE));
        if (from && names && line.startsWith("capture-router: "_L1))
            break;
    }
    lines.removeAll(QString());
    return lines.mid(std::max<qsizetype>(0, lines.size() - MOST_LOG_LINES)).join(QLatin1Char('\n'));
}

} // namespace

PastRequests listRequests(const Paths& paths, const QDateTime& now) {
    PastRequests found;
    const auto entries = readEntries(paths);
    if (!entries) {
        found.trouble = entries.error();
        return found;
    }
    for (const QJsonObject& entry : *entries) {
        if (found.newest.size() == MOST_LISTED)
            ++found.more;
        else if (PastRequest request = listed(entry, now); !request.words.isEmpty())
            found.newest.append(request);
    }
    QList<PastRequest*> all;
    for (PastRequest& request : found.newest)
        all.append(&request);
    findWorking(all, paths);
    return found;
}

std::optional<RequestDetail> requestDetail(const Paths& paths, const QString& id, const QDateTime& now) {
    const auto entries = readEntries(paths);
    if (!entries)
        return std::nullopt;
    const auto found =
        std::find_if(entries->begin(), entries->end(), [&](const QJsonObject& entry) { return keyOf(entry) == id; });
    if (found == entries->end())
        return std::nullopt;
    RequestDetail detail;
    detail.request = listed(*found, now);
    findWorking({&detail.request}, paths);
    detail.prompt = text(*found, "prompt");
    detail.excerpt = firstCharacters(text(*found, "text"), LONGEST_EXCERPT);
    QStringList place{onOneLine(text(*found, "source_title"), LONGEST_LINE),
                      onOneLine(text(*found, "source_url"), LONGEST_EXCERPT)};
    place.removeAll(QString());
    detail.place = place.join(QLatin1Char('\n'));
    detail.summary = summaryOf(*found);
    if (detail.request.ours) {
        detail.queueFile = presentQueueFile(paths, id);
        detail.log = logOf(paths, id);
    }
    return detail;
}

std::optional<Undelivered> storedRequest(const Paths& paths, const QString& id) {
    if (!timeOfId(id))
        return std::nullopt;
    const QString queueFile = presentQueueFile(paths, id);
    const auto bytesOf = [](const QString& path) {
        return readWholeFile(path).map([](const FileContents& file) { return file.bytes; });
    };
    auto entry = queueFile.isEmpty() ? tl::unexpected(QString()) : bytesOf(queueFile).and_then(parseObject);
    if (!entry || !QueueItem::fromEntry(*entry))
        entry = bytesOf(paths.capturesFile).and_then(parseLedger).map([&](const QJsonObject& ledger) {
            return entryIn(ledger, id);
        });
    auto item = entry ? QueueItem::fromEntry(*entry) : std::nullopt;
    if (!item)
        return std::nullopt;
    RequestShot shot;
    shot.text = std::exchange(item->screenText, std::nullopt);
    item->screenshot.reset();
    // Beside its queue file; the path in there is that of the day it was queued.
    const auto png = bytesOf(QFileInfo(queueFile).dir().filePath(id + u".png"_s));
    if (!queueFile.isEmpty() && png && !png->isEmpty())
        shot.png = *png;
    return Undelivered{*item, shot, {}};
}

} // namespace ovalin
