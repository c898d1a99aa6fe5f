#pragma once

#include "base/Dispatch.h"

#include <QList>
#include <QObject>

#include <memory>
#include <optional>

namespace ovalin {

/// What stood in the prompt, sent or not: the last 50, each for 30 days, in a private file. Main thread; the file is
/// read and replaced on the file queue. One that cannot be read is left as it is, and what could not be written goes
/// along with the next, or is tried again at the end.
class PromptHistory final : public QObject {
public:
    enum class Step { Older, Newer };
    struct Entry {
        QString text;
        QDateTime time;
    };

    PromptHistory(Dispatch& dispatch, QString path);

    /// Where it is kept.
    [[nodiscard]] static QString storePath(const QString& systemDir);

    /// Reads the file; what is too old goes from it.
    void load();

    /// Keeps a text as the newest one; blank ones are none.
    void remember(const QString& text);

    /// Tries again to write what could not be written: at the end of the program, before the file work is waited for.
    void saveAgain() { save(Save::IfItFailed); }

    /// Nothing is kept any more; the file is somebody else's to remove.
    void forget() { entries.clear(); }

    /// The next step begins at the newest again.
    void rewind() { at = -1; }

    /// The text for a prompt that holds `current`: a walk begins in an empty prompt, and goes on while what it brought
    /// stands there unchanged. Absent: the prompt stays.
    [[nodiscard]] std::optional<QString> recall(Step step, const QString& current);

private:
    enum class Save { Always, IfItFailed };
    void save(Save when);

    Dispatch& dispatch;
    const QString path;
    const std::shared_ptr<bool> saved = std::make_shared<bool>(true); ///< on the file queue alone
    QList<Entry> entries;                                             ///< newest first
    qsizetype at = -1;                                                ///< the entry in the prompt
};

} // namespace ovalin
