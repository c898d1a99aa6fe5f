#include "AskHistoryEntries.h"

#include "base/Json.h"
#include "base/RelTime.h"
#include "base/Text.h"

#include <QJsonArray>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LONGEST_UNFINISHED = 8000; // UTF-16 units
constexpr qsizetype MOST_ENTRIES = 20;
constexpr qsizetype MOST_ARCHIVED = 1000;
constexpr qsizetype MOST_PREVIEW_LINES = 6;
constexpr qsizetype FIRST_LENGTH = 120;   // user-perceived characters
constexpr qsizetype PREVIEW_LENGTH = 700; // the same
constexpr qsizetype LONGEST_TITLE = 300;  // the same; more never fits a row

const QString SESSIONS = u"sessions"_s;
const QString ID = u"id"_s;
const QString STARTED_AT = u"startedAt"_s;
const QString LAST_AT = u"lastAt"_s;
const QString APP = u"app"_s;
const QString FIRST = u"first"_s;
const QString TITLE = u"title"_s;
const QString TURNS = u"turns"_s;
const QString INTERRUPTED = u"interrupted"_s;
const QString UNFINISHED = u"unfinished"_s;
const QString PREVIEW = u"preview"_s;
const QString ROLE = u"r"_s;
const QString TEXT = u"t"_s;
const QString USER_ROLE = u"you"_s;
const QString AGENT_ROLE = u"torvi"_s;

bool hasId(const QJsonObject& entry, const QString& id) {
    const QJsonValue value = entry.value(ID);
    return value.isString() && value.toString() == id;
}

AskHistoryEntries::iterator find(AskHistoryEntries& entries, const QString& id) {
    return std::find_if(entries.begin(), entries.end(), [&](const QJsonObject& entry) { return hasId(entry, id); });
}

/// The end is where an agent goes on.
QString lastPart(const QString& said) {
    if (said.size() <= LONGEST_UNFINISHED)
        return said;
    const qsizetype half = said.at(said.size() - LONGEST_UNFINISHED).isLowSurrogate() ? 1 : 0;
    return u"… "_s + said.last(LONGEST_UNFINISHED - half);
}

/// The preview as it is, or none when one of its items is anything but an object of strings.
QJsonArray previewOf(const QJsonObject& entry) {
    const QJsonArray preview = entry.value(PREVIEW).toArray();
    const auto isText = [](const QJsonValue& value) { return value.isString(); };
    for (const auto& item : preview) {
        const QJsonObject line = item.toObject();
        if (!item.isObject() || !std::all_of(line.begin(), line.end(), isText))
            return {};
    }
    return preview;
}

QJsonObject withTurn(QJsonObject entry, const AskTurn& turn, const QDateTime& now) {
    entry[LAST_AT] = isoTimestamp(now);
    const qint64 turns = entry.value(TURNS).toInteger(0);
    entry[TURNS] = turns + (turns < std::numeric_limits<qint64>::max() ? 1 : 0);
    entry[INTERRUPTED] = turn.interrupted;
    if (turn.interrupted && !turn.saidSoFar.isEmpty())
        entry[UNFINISHED] = lastPart(turn.saidSoFar);
    else
        entry.remove(UNFINISHED);
    QJsonArray preview = previewOf(entry);
    preview.append(QJsonObject{{ROLE, USER_ROLE}, {TEXT, firstCharacters(turn.question, PREVIEW_LENGTH)}});
    preview.append(QJsonObject{{ROLE, AGENT_ROLE}, {TEXT, firstCharacters(turn.answer, PREVIEW_LENGTH)}});
    while (preview.size() > MOST_PREVIEW_LINES)
        preview.removeFirst();
    entry[PREVIEW] = preview;
    return entry;
}

} // namespace

tl::expected<AskHistoryEntries, QString> parseAskHistory(const QByteArray& bytes) {
    if (bytes.trimmed().isEmpty())
        return AskHistoryEntries();
    const auto file = parseObject(bytes);
    if (!file)
        return tl::unexpected(file.error());
    const QJsonValue sessions = file->value(SESSIONS);
    AskHistoryEntries entries;
    for (const auto& entry : sessions.toArray()) {
        if (!entry.isObject())
            return tl::unexpected(u"\"sessions\" is not an array of objects"_s);
        entries.append(entry.toObject());
    }
    if (!sessions.isArray())
        return tl::unexpected(u"\"sessions\" is missing or no array"_s);
    return entries;
}

QByteArray askHistoryBytes(const AskHistoryEntries& entries) {
    QJsonArray sessions;
    for (const QJsonObject& entry : entries)
        sessions.append(entry);
    return prettyJson({{SESSIONS, sessions}});
}

Stored storeTurn(AskHistoryEntries& entries, const AskTurn& turn, const QDateTime& now) {
    const auto found = find(entries, turn.sessionId);
    const Stored stored = found == entries.end() ? Stored::Created : Stored::Updated;
    QJsonObject entry;
    if (stored == Stored::Updated) {
        entry = *found;
        entries.erase(found);
    } else {
        entry = {{ID, turn.sessionId},
                 {STARTED_AT, isoTimestamp(now)},
                 {APP, turn.app},
                 {FIRST, firstCharacters(turn.opening(), FIRST_LENGTH)}};
    }
    entries.prepend(withTurn(entry, turn, now));
    return stored;
}

AskHistoryEntries takeSurplus(AskHistoryEntries& entries) {
    const AskHistoryEntries surplus = entries.mid(MOST_ENTRIES);
    entries.resize(std::min(entries.size(), MOST_ENTRIES));
    return surplus;
}

void putAway(AskHistoryEntries& archive, const AskHistoryEntries& surplus) {
    archive = surplus + archive;
    archive.resize(std::min(archive.size(), MOST_ARCHIVED));
}

bool setTitle(AskHistoryEntries& entries, const QString& id, const QString& title) {
    const auto found = find(entries, id);
    if (found == entries.end())
        return false;
    (*found)[TITLE] = title;
    return true;
}

void removeEntries(AskHistoryEntries& entries, const QString& id) {
    entries.removeIf([&](const QJsonObject& entry) { return hasId(entry, id); });
}

std::optional<QJsonObject> entryWithId(const AskHistoryEntries& entries, const QString& id) {
    for (const QJsonObject& entry : entries) {
        if (hasId(entry, id))
            return entry;
    }
    return std::nullopt;
}

QString entryTitle(const QJsonObject& entry) {
    for (const QString& key : {TITLE, FIRST}) {
        if (entry.value(key).isString()) {
            if (const QString line = onOneLine(entry.value(key).toString(), LONGEST_TITLE); !line.isEmpty())
                return line;
        }
    }
    return u"(conversation)"_s;
}

QString unfinishedAnswer(const QJsonObject& entry) {
    return entry.value(INTERRUPTED).toBool() ? entry.value(UNFINISHED).toString() : QString();
}

QList<PreviewLine> previewLines(const QJsonObject& entry) {
    QList<PreviewLine> lines;
    for (const auto& item : previewOf(entry))
        lines.append({item[ROLE].toString() == USER_ROLE, item[TEXT].toString()});
    return lines;
}

std::optional<PastConversation> pastConversation(const QJsonObject& entry, const QDateTime& now) {
    const QJsonValue id = entry.value(ID), first = entry.value(FIRST);
    if (!id.isString())
        return std::nullopt;
    return PastConversation{id.toString(),
                            entryTitle(entry),
                            relTime(entry.value(LAST_AT).toString(), now),
                            entry.value(INTERRUPTED).toBool(),
                            first.isString() ? std::optional(first.toString()) : std::nullopt,
                            unfinishedAnswer(entry),
                            previewLines(entry)};
}

} // namespace ovalin
