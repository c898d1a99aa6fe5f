#include "LedgerText.h"

#include "base/Json.h"

#include <simdjson.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace ovalin {

namespace {

const QByteArray BEGIN = "{\n    \"items\": [\n";
const QByteArray ENTRY_ENDS = "\n        }";
const QByteArray ITEMS_END = "\n    ]";
const QByteArray META = "\n    \"meta\": {";
const QByteArray META_ENDS = "\n    }";
const QByteArray LAST_UPDATE = "\n        \"last_update\": \"";

/// What a change of the text must not break: which entries there are, and the time.
struct Outline {
    std::vector<std::string> ids;
    std::string lastUpdate;
    bool operator==(const Outline&) const = default;
};

/// Absent: not a ledger whose entries all have an id.
std::optional<Outline> outlineOf(const QByteArray& text) {
    simdjson::dom::parser parser;
    simdjson::dom::object ledger;
    simdjson::dom::array items;
    std::string_view time;
    if (parser.parse(text.constData(), static_cast<size_t>(text.size())).get(ledger) != simdjson::SUCCESS ||
        ledger["items"].get(items) != simdjson::SUCCESS || ledger["meta"]["last_update"].get(time) != simdjson::SUCCESS)
        return {};
    if (std::ranges::count_if(ledger, [](const auto& member) { return member.key == "items"; }) != 1)
        return {}; // readers do not agree which one counts
    Outline outline{{}, std::string(time)};
    for (const auto& item : items) {
        std::string_view id;
        if (item["id"].get(id) != simdjson::SUCCESS)
            return {};
        outline.ids.emplace_back(id);
    }
    return outline;
}

qsizetype endOfEntry(const QByteArray& text, size_t number) {
    qsizetype at = BEGIN.size() - 1;
    for (size_t i = 0; i < number && at >= 0; ++i)
        at = text.indexOf(ENTRY_ENDS, at + 1);
    return at < 0 ? -1 : at + ENTRY_ENDS.size();
}

/// Where the value of "last_update" stands; nothing has to be searched for in the entries.
std::optional<std::pair<qsizetype, qsizetype>> lastUpdateIn(const QByteArray& text, qsizetype from) {
    const qsizetype meta = text.indexOf(META, from);
    const qsizetype key = meta < 0 ? -1 : text.indexOf(LAST_UPDATE, meta);
    if (key < 0 || key > text.indexOf(META_ENDS, meta))
        return {};
    const qsizetype begin = key + LAST_UPDATE.size(), end = text.indexOf('"', begin);
    return std::pair(begin, end);
}

} // namespace

std::optional<QByteArray> textWithItem(const QByteArray& ledger, const QueueItem& item) {
    auto outline = ledger.startsWith(BEGIN) ? outlineOf(ledger) : std::nullopt;
    const std::string id = item.id.toStdString();
    if (!outline || outline->ids.empty() || std::ranges::find(outline->ids, id) != outline->ids.end())
        return {};
    const size_t kept = std::min(outline->ids.size(), static_cast<size_t>(LEDGER_LIMIT) - 1);
    const qsizetype keptEnd = endOfEntry(ledger, kept);
    const qsizetype itemsEnd = keptEnd < 0 ? -1 : ledger.indexOf(ITEMS_END, keptEnd);
    const auto time = itemsEnd < 0 ? std::nullopt : lastUpdateIn(ledger, itemsEnd);
    if (!time)
        return {};
    const QByteArray entry = prettyJson(item.ledgerEntry()).trimmed().replace("\n", "\n        ");
    QByteArray text;
    text.reserve(ledger.size() + entry.size() + 32);
    text.append(BEGIN).append("        ").append(entry).append(",\n");
    text.append(ledger.constData() + BEGIN.size(), keptEnd - BEGIN.size());
    text.append(ledger.constData() + itemsEnd, time->first - itemsEnd).append(item.ts.toUtf8());
    text.append(ledger.constData() + time->second, ledger.size() - time->second);
    // The layout was taken on trust so far.
    outline->ids.resize(kept);
    outline->ids.insert(outline->ids.begin(), id);
    outline->lastUpdate = item.ts.toStdString();
    return outlineOf(text) == outline ? std::optional(text) : std::nullopt;
}

} // namespace ovalin
