#include "IntentLexicon.h"

#include "base/Json.h"
#include "base/SetAside.h"
#include "base/WholeFile.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const auto HEADS = u"heads"_s;
const auto ASK = u"ask"_s;
const auto DO = u"do"_s;

// Beyond this a double cannot count in ones; a file with larger numbers is read as if it held this.
constexpr qint64 MAX_COUNT = qint64(1) << 53;

std::optional<qint64> wholeNumber(const QJsonValue& value) {
    if (!value.isDouble())
        return {};
    const double number = value.toDouble();
    if (number != std::trunc(number))
        return {};
    if (std::abs(number) >= static_cast<double>(MAX_COUNT))
        return number < 0 ? -MAX_COUNT : MAX_COUNT;
    return value.toInteger();
}

std::optional<IntentLexicon::Counters> countersFrom(const QJsonValue& value) {
    if (!value.isObject())
        return {};
    IntentLexicon::Counters counters;
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        const auto count = wholeNumber(member.value());
        if (!count)
            return {};
        counters.insert(counters.cend(), member.key(), *count);
    }
    return counters;
}

FileResult<IntentLexicon> parse(const QByteArray& bytes) {
    IntentLexicon lexicon;
    if (bytes.trimmed().isEmpty())
        return lexicon;
    const auto file = parseObject(bytes);
    if (!file)
        return tl::unexpected(file.error());
    const QJsonObject words = file->value(HEADS).toObject();
    for (auto member = words.begin(); member != words.end(); ++member) {
        const auto counters = countersFrom(member.value());
        if (!counters)
            return tl::unexpected(u"\"%1\" has other than counters"_s.arg(member.key()));
        lexicon.heads.insert(lexicon.heads.cend(), member.key(), *counters);
    }
    if (!file->value(HEADS).isObject())
        return tl::unexpected(u"\"heads\" is missing or no object"_s);
    return lexicon;
}

} // namespace

QString IntentLexicon::storePath(const QString& systemDir) { return systemDir + u"/ovalin-intent.json"_s; }

IntentLexicon IntentLexicon::load(const QString& path) {
    const auto file = readWholeFile(path);
    return file ? parse(file->bytes).value_or(IntentLexicon()) : IntentLexicon();
}

QByteArray IntentLexicon::serialised() const {
    QJsonObject words;
    for (auto head = heads.begin(); head != heads.end(); ++head) {
        QJsonObject counters;
        for (auto counter = head->begin(); counter != head->end(); ++counter)
            counters.insert(counter.key(), counter.value());
        words.insert(head.key(), counters);
    }
    return QJsonDocument(QJsonObject{{HEADS, words}}).toJson(QJsonDocument::Compact);
}

bool IntentLexicon::save(const QString& path) const {
    return readOrSetAside(path, u"intent lexicon"_s, parse)
        .and_then([&](const IntentLexicon&) { return replaceFile(path, serialised()); })
        .has_value();
}

int IntentLexicon::weightFor(std::u16string_view head) const {
    // A view on the caller's letters: the lookup copies nothing.
    const auto word = QString::fromRawData(reinterpret_cast<const QChar*>(head.data()), // NOLINT: QChar is one char16_t
                                           static_cast<qsizetype>(head.size()));
    const auto entry = heads.constFind(word);
    if (entry == heads.cend())
        return 0;
    const auto asks = static_cast<double>(entry->value(ASK));
    const auto dos = static_cast<double>(entry->value(DO));
    const double weight = std::round(std::log((asks + 1) / (dos + 1)));
    // Counters below zero, from a file that somebody edited.
    if (std::isnan(weight))
        return 0;
    return static_cast<int>(std::clamp(weight, -2.0, 2.0));
}

void IntentLexicon::record(const QString& head, bool committedAsk) {
    if (head.isEmpty())
        return;
    auto entry = heads.find(head);
    if (entry == heads.end())
        entry = heads.insert(head, {{ASK, 0}, {DO, 0}});
    qint64& count = (*entry)[committedAsk ? ASK : DO];
    count = std::min(count, MAX_COUNT - 1) + 1;
}

} // namespace ovalin
