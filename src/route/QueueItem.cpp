#include "QueueItem.h"

#include "base/Text.h"

#include <QRandomGenerator>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace ovalin {

QJsonObject QueueItem::ledgerEntry() const {
    QJsonObject entry{{u"id"_s, id},
                      {u"ts"_s, ts},
                      {u"text"_s, text},
                      {u"source_app"_s, sourceApp},
                      {u"source_bundle"_s, sourceBundle},
                      {u"prompt"_s, prompt},
                      {u"kind"_s, u"pending"_s},
                      {u"status"_s, u"queued"_s},
                      {u"context_mode"_s, contextMode}};
    if (sourceUrl)
        entry[u"source_url"_s] = *sourceUrl;
    if (sourceTitle && !sourceTitle->isEmpty())
        entry[u"source_title"_s] = *sourceTitle;
    return entry;
}

QJsonObject QueueItem::queueEntry() const {
    QJsonObject entry = ledgerEntry();
    if (screenshot)
        entry[u"screenshot"_s] = *screenshot;
    if (screenText)
        entry[u"screen_text"_s] = *screenText;
    return entry;
}

std::optional<QueueItem> QueueItem::fromEntry(const QJsonObject& entry) {
    const auto text = [&entry](const char* key) { return entry.value(QLatin1String(key)).toString(); };
    const auto given = [&entry](const char* key) {
        const QJsonValue value = entry.value(QLatin1String(key));
        return value.isString() ? std::optional(value.toString()) : std::nullopt;
    };
    if (!timeOfId(text("id")))
        return std::nullopt;
    return QueueItem{
        text("id"),          text("ts"),          text("text"),          text("source_app"),   text("source_bundle"),
        text("prompt"),      given("source_url"), given("source_title"), text("context_mode"), given("screenshot"),
        given("screen_text")};
}

std::optional<qint64> timeOfId(const QString& id) {
    // An id becomes the name of files.
    static const QRegularExpression pattern(u"\\Acap-([0-9]{1,16})-[0-9a-f]{4}\\z"_s);
    const auto match = pattern.match(id);
    return match.hasMatch() ? std::optional(match.captured(1).toLongLong()) : std::nullopt;
}

QString requestId(const QDateTime& time, quint32 random) {
    return u"cap-%1-%2"_s.arg(time.toMSecsSinceEpoch()).arg(random, 4, 16, QLatin1Char('0'));
}

void submittedAt(QueueItem& item, const QDateTime& time) {
    item.id = requestId(time, QRandomGenerator::global()->bounded(65535U));
    item.ts = isoTimestamp(time);
}

QueueItem makeQueueItem(const QString& instruction, const QString& excerpt, const Subject& subject,
                        const QString& contextMode, const QDateTime& time) {
    QueueItem item;
    submittedAt(item, time);
    item.text = excerpt;
    item.sourceApp = subject.capApp;
    item.sourceBundle = subject.capBundle;
    item.prompt = instruction;
    item.sourceUrl = subject.capURL;
    item.sourceTitle = subject.capTitle;
    item.contextMode = contextMode;
    return item;
}

} // namespace ovalin
