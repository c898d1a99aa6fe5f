#pragma once

#include "platform/Pasteboard.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <chrono>
#include <optional>

namespace ovalin {

/// The targets to ask for a selection's text, the best first.
[[nodiscard]] const QByteArrayList& textTargets();

/// A text under the targets by which applications ask for one.
[[nodiscard]] std::vector<PasteboardSnapshot::Item> textContent(const QString& text);

/// The text of a selection that came as `type` (ICCCM 2.6.2: STRING is Latin-1, all others here are UTF-8), without
/// the object replacement characters that Chromium puts for form fields. Nothing when that leaves nothing, or when it
/// is no text.
[[nodiscard]] std::optional<QString> selectionText(const QByteArray& type, int format, const QByteArray& bytes);

/// Which of the targets an owner offers belong into a snapshot, in the order to take them: text, web text, file lists
/// and custom types first, pictures last, and those as PNG alone (an application offers a picture in up to 20 formats).
/// Targets that are a protocol or mean something inside their process only are left out.
[[nodiscard]] QByteArrayList targetsToTake(const QByteArrayList& offered);

/// The formats of a picture that targetsToTake() passes over, for when there is time left.
[[nodiscard]] QByteArrayList furtherPictures(const QByteArrayList& offered);

/// The budget of one snapshot.
struct SnapshotBudget {
    std::chrono::milliseconds time{150};
    qsizetype bytes = 32 * 1024 * 1024;
};

/// Whether a snapshot can stand in for the clipboard it was read from: something was read, and nobody took the
/// clipboard meanwhile.
[[nodiscard]] bool isFaithful(const PasteboardSnapshot& snapshot, quint64 changeCountAfter);

/// Whether putting the snapshot back changes anything: not while the clipboard is still the one that was read.
[[nodiscard]] bool needsRestore(const PasteboardSnapshot& snapshot, quint64 changeCountNow);

} // namespace ovalin
