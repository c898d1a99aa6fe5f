#pragma once

#include <QString>
#include <QStringList>

namespace ovalin {

/// Where the recogniser's engine lies, and the models for it, the preferred one first.
struct SpeechFiles {
    QString library;
    QStringList models; ///< folders
    [[nodiscard]] bool complete() const { return !library.isEmpty() && !models.isEmpty(); }
    /// For people; empty when nothing is.
    [[nodiscard]] QString whatIsMissing() const;
    bool operator==(const SpeechFiles&) const = default;
};

/// Looks in ~/.local/share/ovalin (`models/NAME` the user's own models, in the order of their names; `speech` what
/// scripts/install-speech puts there), then in `speech` beside the program and in ../share/ovalin/speech. A model
/// counts when it looks like one; whether it is whole shows when it is loaded. Reads folders: for worker threads.
[[nodiscard]] SpeechFiles findSpeechFiles(const QString& home, const QString& programFolder);

} // namespace ovalin
