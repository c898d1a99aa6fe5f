#include "CapturesLedger.h"

#include "base/FileLock.h"
#include "base/JsonFile.h"
#include "base/Log.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>

namespace ovalin {

namespace {

constexpr qsizetype LEDGER_LIMIT = 500;
constexpr int TRIES = 20;

const QString ITEMS = QStringLiteral("items");
const QString META = QStringLiteral("meta");
const QString LAST_UPDATE = QStringLiteral("last_update");

/// An editor that writes in place leaves the file blank or cut off for a moment.
bool mayBeHalfWritten(const FileVersion& version) {
    const qint64 age = QDateTime::currentMSecsSinceEpoch() - version.modified / 1'000'000;
    return version.exists && age >= 0 && age < 250;
}

/// One read, change and replace; `Changed` asks for another.
FileResult<Replaced> tryAppend(const QString& file, const QueueItem& item, bool lastTry) {
    auto read = readWholeFile(file);
    const FileVersion version = read ? read->version : versionOf(file);
    const auto ledger = read.and_then([](const FileContents& contents) { return parseLedger(contents.bytes); });
    const bool blank = read && read->bytes.trimmed().isEmpty();
    if ((!ledger || blank) && !lastTry && mayBeHalfWritten(version)) {
        QThread::msleep(50);
        return Replaced::Changed;
    }
    if (!ledger) {
        const auto aside = setAside(file, version);
        if (!aside)
            return tl::unexpected(aside.error());
        if (aside->isEmpty())
            return Replaced::Changed;
        logLine(QStringLiteral("Ovalin: captures ledger set aside as %1 — %2").arg(*aside, ledger.error()));
        read = FileContents{};
    }
    const QJsonObject base = ledger ? *ledger : *parseLedger({});
    return replaceIfUnchanged(file, *read, prettyJson(withItem(base, item)));
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
        return tl::unexpected(QStringLiteral("\"items\" is not an array of objects"));
    return ledger;
}

QJsonObject withItem(QJsonObject ledger, const QueueItem& item) {
    const QJsonArray old = ledger.value(ITEMS).toArray();
    QJsonArray items{item.ledgerEntry()};
    const qsizetype kept = std::min(old.size(), LEDGER_LIMIT - 1);
    for (qsizetype i = 0; i < kept; ++i)
        items.append(old.at(i));
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
    if (auto made = ensureFolder(QFileInfo(capturesFile).path()); !made)
        return made;
    const FileLock lock(capturesFile);
    for (int tries = 1; tries <= TRIES; ++tries) {
        const auto replaced = tryAppend(capturesFile, item, tries == TRIES);
        if (!replaced)
            return tl::unexpected(replaced.error());
        if (*replaced == Replaced::Done)
            return {};
        // Two who retry in step would meet again and again.
        QThread::msleep(QRandomGenerator::global()->bounded(2U, 20U));
    }
    return tl::unexpected(QStringLiteral("%1 is being changed all the time").arg(capturesFile));
}

} // namespace ovalin
