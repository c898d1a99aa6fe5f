#include "CapturesLedger.h"

#include "LedgerText.h"

#include "base/FileLock.h"
#include "base/Json.h"
#include "base/SetAside.h"
#include "base/WholeFile.h"
#include "base/Log.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int TRIES = 20;

const QString ITEMS = u"items"_s;
const QString META = u"meta"_s;
const QString LAST_UPDATE = u"last_update"_s;
const QString ID = u"id"_s;
const QString STATUS = u"status"_s;
const QString RESULT = u"result"_s;

/// The ledger as it shall be; absent: as it is.
using Change = std::function<std::optional<QJsonObject>(const QJsonObject& ledger)>;

/// The same on the text, where that is enough; absent: it is not.
using TextChange = std::function<std::optional<QByteArray>(const QByteArray& text)>;

bool isOpen(const QJsonObject& entry) { return entry.value(STATUS).toString() == QUEUED; }

/// An editor that writes in place leaves the file blank or cut off for a moment.
bool mayBeHalfWritten(const QString& file, const FileVersion& version) {
    const qint64 age = QDateTime::currentMSecsSinceEpoch() - version.modified / 1'000'000;
    return version.exists && ((age >= 0 && age < 250) || hasWriter(file));
}

/// One read, change and replace; `Changed` asks for another.
FileResult<Replaced> tryChange(const QString& file, const Change& change, const TextChange& quickly, bool lastTry) {
    auto read = readWholeFile(file);
    if (!read)
        return tl::unexpected(read.error());
    if (const auto text = quickly ? quickly(read->bytes) : std::nullopt)
        return replaceIfUnchanged(file, *read, *text);
    const JsonNumbers numbers(read->bytes);
    auto ledger = parseLedger(numbers.guarded());
    const bool blank = read->bytes.trimmed().isEmpty();
    if ((!ledger || blank) && mayBeHalfWritten(file, read->version)) {
        if (lastTry)
            return tl::unexpected(file + u": another program is writing it"_s);
        QThread::msleep(50);
        return Replaced::Changed;
    }
    if (!ledger) {
        const auto aside = setAside(file, read->version);
        if (!aside)
            return tl::unexpected(aside.error());
        if (aside->isEmpty())
            return Replaced::Changed;
        logLine(u"Ovalin: captures ledger set aside as %1 — %2"_s.arg(*aside, ledger.error()));
        read = FileContents{};
        ledger = parseLedger({});
    }
    const auto changed = change(*ledger);
    return changed ? replaceIfUnchanged(file, *read, numbers.restored(prettyJson(*changed))) : Replaced::Done;
}

tl::expected<void, QString> changeLedger(const QString& file, const Change& change, const TextChange& quickly = {}) {
    if (auto made = ensureFolder(QFileInfo(file).path()); !made)
        return made;
    const FileLock lock(file);
    for (int tries = 1; tries <= TRIES; ++tries) {
        const auto replaced = tryChange(file, change, quickly, tries == TRIES);
        if (!replaced)
            return tl::unexpected(replaced.error());
        if (*replaced == Replaced::Done)
            return {};
        // Two who retry in step would meet again and again.
        QThread::msleep(QRandomGenerator::global()->bounded(2U, 20U));
    }
    return tl::unexpected(file + u": another program changes it all the time"_s);
}

qsizetype indexOf(const QJsonArray& items, const QString& id) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const QJsonValue& item) { return item.toObject().value(ID).toString() == id; });
    return found == items.end() ? -1 : found - items.begin();
}

/// The item over what its entry already says.
QJsonObject upToDate(QJsonObject entry, const QueueItem& item) {
    const QJsonObject now = item.ledgerEntry();
    for (auto member = now.begin(); member != now.end(); ++member)
        entry.insert(member.key(), member.value());
    return entry;
}

} // namespace

tl::expected<QJsonObject, QString> parseLedger(const QByteArray& bytes) {
    if (bytes.trimmed().isEmpty())
        return QJsonObject{{ITEMS, QJsonArray()}, {META, QJsonObject()}};
    auto ledger = parseObject(bytes);
    if (!ledger || !ledger->contains(ITEMS))
        return ledger;
    const QJsonValue items = ledger->value(ITEMS);
    const QJsonArray array = items.toArray();
    if (!items.isArray() || !std::all_of(array.begin(), array.end(), [](const auto& item) { return item.isObject(); }))
        return tl::unexpected(u"\"items\" is not an array of objects"_s);
    return ledger;
}

QJsonObject entryIn(const QJsonObject& ledger, const QString& id) {
    const QJsonArray items = ledger.value(ITEMS).toArray();
    const qsizetype at = indexOf(items, id);
    return at < 0 ? QJsonObject() : items.at(at).toObject();
}

QJsonObject withItem(QJsonObject ledger, const QueueItem& item) {
    QJsonArray items = ledger.value(ITEMS).toArray();
    if (const qsizetype at = indexOf(items, item.id); at >= 0) {
        if (isOpen(items.at(at).toObject()))
            items.replace(at, upToDate(items.at(at).toObject(), item));
        ledger[ITEMS] = items;
        return ledger;
    }
    items.prepend(item.ledgerEntry());
    while (items.size() > LEDGER_LIMIT)
        items.removeLast();
    ledger[ITEMS] = items;

    QJsonObject meta = ledger.value(META).toObject();
    if (item.ts.isEmpty())
        meta.remove(LAST_UPDATE);
    else
        meta[LAST_UPDATE] = item.ts;
    ledger[META] = meta;
    return ledger;
}

tl::expected<void, QString> appendToCaptures(const QString& capturesFile, const QueueItem& item) {
    return changeLedger(
        capturesFile,
        [&](const QJsonObject& ledger) {
            const QJsonObject changed = withItem(ledger, item);
            return changed == ledger ? std::nullopt : std::optional(changed);
        },
        [&](const QByteArray& text) { return textWithItem(text, item); });
}

tl::expected<bool, QString> settleCapture(const QString& capturesFile, const QString& id, const QString& status,
                                          const QString& summary) {
    bool settled = false;
    return changeLedger(capturesFile,
                        [&](QJsonObject ledger) -> std::optional<QJsonObject> {
                            QJsonArray items = ledger.value(ITEMS).toArray();
                            const qsizetype at = indexOf(items, id);
                            settled = at >= 0 && isOpen(items.at(at).toObject());
                            if (!settled)
                                return std::nullopt;
                            QJsonObject entry = items.at(at).toObject();
                            QJsonObject result = entry.value(RESULT).toObject();
                            result[u"summary"_s] = summary;
                            entry[STATUS] = status;
                            entry[RESULT] = result;
                            items.replace(at, entry);
                            ledger[ITEMS] = items;
                            return ledger;
                        })
        .map([&] { return settled; });
}

tl::expected<void, QString> removeCapture(const QString& capturesFile, const QString& id) {
    return changeLedger(capturesFile, [&](QJsonObject ledger) -> std::optional<QJsonObject> {
        QJsonArray items = ledger.value(ITEMS).toArray();
        const qsizetype at = indexOf(items, id);
        if (at < 0 || !isOpen(items.at(at).toObject()))
            return std::nullopt;
        items.removeAt(at);
        ledger[ITEMS] = items;
        return ledger;
    });
}

tl::expected<void, QString> removeCaptures(const QString& capturesFile,
                                           const std::function<bool(const QString& id)>& goes) {
    if (!QFileInfo::exists(capturesFile))
        return {};
    return changeLedger(capturesFile, [&](QJsonObject ledger) -> std::optional<QJsonObject> {
        QJsonArray kept;
        const QJsonArray items = ledger.value(ITEMS).toArray();
        for (const auto& item : items) {
            const QString id = item.toObject().value(ID).toString();
            if (!timeOfId(id) || !goes(id))
                kept.append(item);
        }
        if (kept.size() == items.size())
            return std::nullopt;
        ledger[ITEMS] = kept;
        return ledger;
    });
}

} // namespace ovalin
