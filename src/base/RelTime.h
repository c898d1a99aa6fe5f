#pragma once

#include <QDateTime>
#include <QString>

namespace ovalin {

/// How long ago an ISO 8601 internet date-time was, in a word or two: "just now", "59m ago", "23h ago", "3d ago". Times
/// in the future are just now; what is no such time gives an empty text. Pure.
[[nodiscard]] QString relTime(const QString& iso, const QDateTime& now);

} // namespace ovalin
