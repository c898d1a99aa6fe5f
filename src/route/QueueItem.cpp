#include "QueueItem.h"

#include "base/Text.h"

#include <QRandomGenerator>
#include <QRegularExpression>

namespace ovalin {

QJsonObject QueueItem::ledgerEntry() const {
    QJsonObject entry{{QStringLiteral("id"), id},
                      {QStringLiteral("ts"), ts},
                      {QStringLiteral("text"), text},
                      {QStringLiteral("source_app"), sourceApp},
                      {QStringLiteral("source_bundle"), sourceBundle},
                      {QStringLiteral("prompt"), prompt},
                      {QStringLiteral("kind"), QStringLiteral("pending")},
                      {QStringLiteral("status"), QStringLiteral("queued")},
                      {QStringLiteral("context_mode"), contextMode}};
    if (sourceUrl)
        entry[QStringLiteral("source_url")] = *sourceUrl;
    if (sourceTitle && !sourceTitle->isEmpty())
        entry[QStringLiteral("source_title")] = *sourceTitle;
    return entry;
}

QJsonObject QueueItem::queueEntry() const {
    QJsonObject entry = ledgerEntry();
    if (screenshot)
        entry[QStringLiteral("screenshot")] = *screenshot;
    if (screenText)
        entry[QStringLiteral("screen_text")] = *screenText;
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
    static const QRegularExpression pattern(QStringLiteral("\\Acap-([0-9]{1,16})-[0-9a-f]{4}\\z"));
    const auto match = pattern.match(id);
    return match.hasMatch() ? std::optional(match.captured(1).toLongLong()) : std::nullopt;
}

QString requestId(const QDateTime& time, quint32 random) {
    return QStringLiteral("cap-%1-%2").arg(time.toMSecsSinceEpoch()).arg(random, 4, 16, QLatin1Char('0'));
}

QueueItem makeQueueItem(const QString& instruction, const QString& excerpt, const Subject& subject,
                        const QString& contextMode, const QDateTime& time) {
    QueueItem item;
    item.id = requestId(time, QRandomGenerator::global()->bounded(65535U));
    item.ts = isoTimestamp(time);
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
