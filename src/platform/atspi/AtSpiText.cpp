#include "AtSpiText.h"

#include <algorithm>
#include <array>
#include <deque>

namespace ovalin {

namespace {

const char* const TEXT = "org.a11y.atspi.Text";
const char* const HYPERTEXT = "org.a11y.atspi.Hypertext";
const QChar EMBEDDED(0xFFFC); // stands in the text for an object that lies in it

/// The selected part of one object's text, and the objects that lie in it, in the order of their placeholders.
struct Part {
    AtSpiRef object;
    uint role = 0;
    int start = 0; // in characters, as all AT-SPI offsets
    int end = 0;
    QString text;
    std::vector<const Part*> embedded;
};

// More does not fit into the time; the browser shall not be kept busy for nothing. Ends trees that contain themselves,
// too.
constexpr qsizetype MOST_PARTS = 500;
constexpr int MOST_LEVELS = 60;

struct Range {
    bool answered = false;
    int start = -1;
    int end = -1;
};

Range rangeOf(const AtSpiQuery& query, const QDBusPendingCall& call) {
    const QVariantList offsets = query.answer(call, "ii");
    if (offsets.isEmpty())
        return {};
    const auto [low, high] = std::minmax({offsets[0].toInt(), offsets[1].toInt()});
    return {true, low, high};
}

QDBusPendingCall beginSelection(const AtSpiQuery& query, const AtSpiRef& object) {
    return query.begin(object, TEXT, "GetSelection", {0});
}

/// The objects behind each placeholder of these parts, null where there is none, all parts' questions under way
/// together.
std::vector<std::vector<AtSpiRef>> embeddedObjects(const AtSpiQuery& query, const std::vector<Part*>& parts) {
    std::vector<std::vector<QDBusPendingCall>> calls(parts.size());
    for (size_t i = 0; i < parts.size(); ++i) {
        int offset = parts[i]->start;
        for (const QChar& unit : std::as_const(parts[i]->text)) {
            if (unit == EMBEDDED)
                calls[i].push_back(query.begin(parts[i]->object, HYPERTEXT, "GetLinkIndex", {offset}));
            offset += unit.isLowSurrogate() ? 0 : 1;
        }
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        for (QDBusPendingCall& call : calls[i]) {
            const int link = query.answer(call, "i").value(0, -1).toInt();
            call = query.begin(link < 0 ? AtSpiRef{} : parts[i]->object, HYPERTEXT, "GetLink", {link});
        }
    }
    for (auto& ofPart : calls) {
        for (QDBusPendingCall& call : ofPart)
            call = query.begin(query.ref(call), "org.a11y.atspi.Hyperlink", "GetObject", {0});
    }
    std::vector<std::vector<AtSpiRef>> objects(parts.size());
    for (size_t i = 0; i < parts.size(); ++i) {
        for (const QDBusPendingCall& call : calls[i])
            objects[i].push_back(query.ref(call));
    }
    return objects;
}

/// Reads role and range of each part.
void readRanges(const AtSpiQuery& query, const std::vector<Part*>& parts) {
    std::vector<QDBusPendingCall> roles, ranges;
    for (const Part* part : parts) {
        roles.push_back(query.beginRole(part->object));
        ranges.push_back(beginSelection(query, part->object));
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        const Range range = rangeOf(query, ranges[i]);
        parts[i]->role = query.role(roles[i]);
        // A password field may lie in a selected page.
        if (parts[i]->role != AtSpiRole::PasswordText && range.start >= 0) {
            parts[i]->start = range.start;
            parts[i]->end = range.end;
        }
    }
}

void readTexts(const AtSpiQuery& query, const std::vector<Part*>& parts) {
    std::vector<QDBusPendingCall> texts;
    for (const Part* part : parts) {
        const bool empty = part->start == part->end;
        texts.push_back(query.begin(empty ? AtSpiRef{} : part->object, TEXT, "GetText", {part->start, part->end}));
    }
    for (size_t i = 0; i < parts.size(); ++i)
        parts[i]->text = query.answer(texts[i], "s").value(0).toString();
}

bool flowsWithText(uint role) {
    constexpr std::array inlineRoles{AtSpiRole::CheckBox,        AtSpiRole::ComboBox,
                                     AtSpiRole::Image,           AtSpiRole::Label,
                                     AtSpiRole::PushButton,      AtSpiRole::Text,
                                     AtSpiRole::Entry,           AtSpiRole::Link,
                                     AtSpiRole::Static,          AtSpiRole::Subscript,
                                     AtSpiRole::Superscript,     AtSpiRole::Mark,
                                     AtSpiRole::ContentDeletion, AtSpiRole::ContentInsertion,
                                     AtSpiRole::PasswordText};
    return std::find(inlineRoles.begin(), inlineRoles.end(), role) != inlineRoles.end();
}

/// The part's text with its embedded parts in it; paragraphs and the like stand on lines of their own.
QString rendered(const Part& part) {
    QString out;
    bool lineEnds = false;
    const auto append = [&](const QString& text) {
        if (text.isEmpty())
            return;
        if (lineEnds && !out.isEmpty() && !out.endsWith(QLatin1Char('\n')))
            out += QLatin1Char('\n');
        lineEnds = false;
        out += text;
    };
    size_t next = 0;
    const QStringList runs = part.text.split(EMBEDDED);
    for (qsizetype i = 0; i < runs.size(); ++i) {
        append(runs[i]);
        if (i + 1 == runs.size() || next == part.embedded.size())
            continue;
        const Part* inner = part.embedded[next++];
        const bool block = inner && !flowsWithText(inner->role);
        lineEnds = lineEnds || block;
        append(inner ? rendered(*inner) : QString());
        lineEnds = lineEnds || block;
    }
    return out;
}

/// The text of the range with what is embedded in it; nothing when the deadline passed first, for half a selection must
/// not be taken for the whole.
std::optional<QString> expandedText(const AtSpiQuery& query, const AtSpiRef& object, const Range& range) {
    std::deque<Part> parts; // stays where it is while it grows
    parts.push_back({object, 0, range.start, range.end, {}, {}});
    std::vector<Part*> level{&parts.front()};
    qsizetype known = 1;
    for (int depth = 0; !level.empty(); ++depth) {
        readTexts(query, level);
        for (const Part* part : level)
            known += part->text.count(EMBEDDED);
        if (known > MOST_PARTS)
            return std::nullopt;
        const auto objects = embeddedObjects(query, level);
        std::vector<Part*> inner;
        for (size_t i = 0; i < level.size(); ++i) {
            for (const AtSpiRef& each : objects[i]) {
                parts.push_back({each, 0, 0, 0, {}, {}});
                level[i]->embedded.push_back(&parts.back());
                inner.push_back(&parts.back());
            }
        }
        readRanges(query, inner);
        level = std::move(inner);
        if (query.expired() || depth == MOST_LEVELS)
            return std::nullopt;
    }
    return rendered(parts.front());
}

} // namespace

QString withoutByteOrderMarks(QString text) { return text.remove(QChar(0xFEFF)); }

AccessibleSelection selectionOf(const AtSpiQuery& query, const AtSpiRef& object) {
    using Kind = AccessibleSelection::Kind;
    const QDBusPendingCall roleCall = query.beginRole(object);
    const QDBusPendingCall countCall = query.begin(object, TEXT, "GetNSelections");
    const uint role = query.role(roleCall);
    if (role == AtSpiRole::PasswordText)
        return {Kind::Secret, {}, false};
    const bool terminal = role == AtSpiRole::Terminal; // Konsole's offsets are off by one
    const QVariantList count = query.answer(countCall, "i");
    if (role == 0 || count.isEmpty())
        return {};
    if (count.first().toInt() < 1)
        return {Kind::None, {}, terminal};
    const Range range = rangeOf(query, beginSelection(query, object));
    if (!range.answered || range.start < 0)
        return {};
    if (range.start == range.end)
        return {Kind::None, {}, terminal};
    const QString text = withoutByteOrderMarks(expandedText(query, object, range).value_or(QString()));
    return {text.isEmpty() ? Kind::Unavailable : Kind::Text, text, terminal};
}

} // namespace ovalin
