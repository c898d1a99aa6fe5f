#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace ovalin {

/// How often prompts with a given head word were submitted as a question and as a task. A value, cheap to copy: a
/// worker can store a copy while the original goes on learning.
struct IntentLexicon {
    /// By name; "ask" and "do" are used, others that a stored file has are kept.
    using Counters = QMap<QString, qint64>;

    QMap<QString, Counters> heads;

    /// ~/CLAUDE/system/ovalin-intent.json, given that folder.
    [[nodiscard]] static QString storePath(const QString& systemDir);

    /// Reads a stored lexicon; one that is missing, unreadable or of another shape counts as empty. Blocks on the file.
    [[nodiscard]] static IntentLexicon load(const QString& path);

    /// The stored form: one line of JSON with sorted keys.
    [[nodiscard]] QByteArray serialised() const;

    /// Replaces the file atomically, keeping its mode; a new one is the user's alone. The folder must exist. A file
    /// that is no lexicon is set aside first. False when that failed, or when what is there cannot be read: the file is
    /// as it was. Blocks on the file: for a background queue.
    bool save(const QString& path) const;

    /// From -2 (always a task) to +2 (always a question); 0 for a word that was never seen.
    [[nodiscard]] int weightFor(std::u16string_view head) const;

    /// Counts one submission; an empty head counts nothing.
    void record(const QString& head, bool committedAsk);
};

} // namespace ovalin
