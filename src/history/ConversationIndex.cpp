#include "ConversationIndex.h"

#include "base/Text.h"

#include <QSet>

#include <algorithm>
#include <cstring>

namespace ovalin {

namespace {

/// What a file of others may hold is not folded without end.
constexpr qsizetype LONGEST_TEXT = 20'000;

QByteArray searchable(const QJsonObject& entry) {
    QString text = entryTitle(entry) + QLatin1Char('\n') + entry.value(QLatin1String("first")).toString();
    for (const PreviewLine& line : previewLines(entry))
        text += QLatin1Char('\n') + line.text;
    return folded(text.left(LONGEST_TEXT)).toUtf8();
}

bool holds(const QByteArray& text, const QByteArray& word) {
    return ::memmem(text.constData(), static_cast<size_t>(text.size()), word.constData(),
                    static_cast<size_t>(word.size()));
}

} // namespace

ConversationIndex::ConversationIndex(const AskHistoryEntries& entries) {
    QSet<QString> known;
    for (const QJsonObject& entry : entries) {
        const QString id = entry.value(QLatin1String("id")).toString();
        if (!id.isEmpty() && !known.contains(id))
            all.append({entry, searchable(entry)});
        known.insert(id);
    }
}

AskHistoryEntries ConversationIndex::find(const QString& words, qsizetype most) const {
    const QByteArrayList wanted = folded(words).simplified().toUtf8().split(' ');
    AskHistoryEntries found;
    for (const Indexed& each : all) {
        if (found.size() == most)
            break;
        if (std::all_of(wanted.begin(), wanted.end(), [&](const QByteArray& word) { return holds(each.text, word); }))
            found.append(each.entry);
    }
    return found;
}

} // namespace ovalin
