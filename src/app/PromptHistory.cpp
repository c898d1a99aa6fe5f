#include "PromptHistory.h"

#include "base/Json.h"
#include "base/SetAside.h"
#include "base/WholeFile.h"
#include "base/Text.h"

#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using Entries = QList<PromptHistory::Entry>;

constexpr qsizetype MOST_ENTRIES = 50;
constexpr qint64 DAYS = 30;

const QString PROMPTS = u"prompts"_s;
const QString TEXT = u"text"_s;
const QString TIME = u"ts"_s;

FileResult<Entries> parse(const QByteArray& bytes) {
    if (bytes.trimmed().isEmpty())
        return Entries();
    const auto file = parseObject(bytes);
    if (!file)
        return tl::unexpected(file.error());
    Entries entries;
    for (const auto& value : file->value(PROMPTS).toArray()) {
        const QJsonObject entry = value.toObject();
        entries.append({entry[TEXT].toString(), QDateTime::fromString(entry[TIME].toString(), Qt::ISODate)});
    }
    return entries;
}

QByteArray bytesOf(const Entries& entries) {
    QJsonArray prompts;
    for (const auto& entry : entries)
        prompts.append(QJsonObject{{TEXT, entry.text}, {TIME, isoTimestamp(entry.time)}});
    return prettyJson({{PROMPTS, prompts}});
}

/// Takes out what is too old, or from a time to come by more than a clock may be wrong.
bool forgetOld(Entries& entries, const QDateTime& now) {
    return entries.removeIf([&](const PromptHistory::Entry& entry) {
        return entry.text.isEmpty() || !entry.time.isValid() || entry.time < now.addDays(-DAYS) ||
               entry.time > now.addDays(1);
    }) > 0;
}

void add(Entries& entries, const PromptHistory::Entry& newest) {
    entries.removeIf([&](const PromptHistory::Entry& entry) { return entry.text == newest.text; });
    entries.prepend(newest);
    forgetOld(entries, newest.time);
    if (entries.size() > MOST_ENTRIES)
        entries.resize(MOST_ENTRIES);
}

void appendMissing(Entries& entries, const Entries& more) {
    for (const auto& entry : more) {
        const auto isSame = [&](const PromptHistory::Entry& other) { return other.text == entry.text; };
        if (std::none_of(entries.begin(), entries.end(), isSame))
            entries.append(entry);
    }
}

/// Reads, changes and replaces the file.
FileResult<Entries> update(const QString& path, const std::function<bool(Entries&)>& change) {
    auto entries = readOrSetAside(path, u"past prompts"_s, parse);
    if (entries && change(*entries)) {
        const auto replaced =
            ensureFolder(QFileInfo(path).path()).and_then([&] { return replaceFile(path, bytesOf(*entries)); });
        if (!replaced)
            entries = tl::unexpected(replaced.error());
    }
    if (!entries)
        logLine(u"Ovalin: past prompts are left as they are — "_s + entries.error());
    return entries;
}

} // namespace

PromptHistory::PromptHistory(Dispatch& theDispatch, QString file)
    : dispatch(theDispatch)
    , path(std::move(file)) {}

QString PromptHistory::storePath(const QString& systemDir) { return systemDir + u"/ovalin-prompts.json"_s; }

void PromptHistory::load() {
    dispatch.inBackground(
        Queue::Files, this,
        [file = path, now = dispatch.wallClock()] {
            return update(file, [&](Entries& stored) { return forgetOld(stored, now); }).value_or(Entries());
        },
        [this](const Entries& stored) { appendMissing(entries, stored); });
}

void PromptHistory::remember(const QString& text) {
    if (text.trimmed().isEmpty())
        return;
    const Entry newest{text, dispatch.wallClock()};
    add(entries, newest);
    at = -1;
    save(Save::Always);
}

void PromptHistory::save(Save when) {
    // All of them: the last ones may have found no room.
    dispatch.run(Queue::Files, [when, file = path, all = entries, now = dispatch.wallClock(), saved = saved] {
        if (when == Save::IfItFailed && *saved)
            return;
        *saved = update(file, [&](Entries& stored) {
                     Entries both = all;
                     appendMissing(both, stored);
                     forgetOld(both, now);
                     stored = both.mid(0, MOST_ENTRIES);
                     return true;
                 }).has_value();
    });
}

std::optional<QString> PromptHistory::recall(Step step, const QString& current) {
    if (at >= 0 && (at >= entries.size() || entries[at].text != current))
        at = -1; // the user has gone on from there
    if (at < 0 && !current.isEmpty())
        return std::nullopt;
    forgetOld(entries, dispatch.wallClock());
    const qsizetype next = step == Step::Older ? at + 1 : at - 1;
    if (next >= entries.size() || next < -1)
        return std::nullopt;
    at = next;
    return at < 0 ? QString() : entries[at].text;
}

} // namespace ovalin
