#include "RelTime.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace ovalin {

QString relTime(const QString& iso, const QDateTime& now) {
    // Qt alone would also take a bare date, a local time and fractions.
    static const QRegularExpression internetDateTime(
        QStringLiteral(R"(\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(?:Z|[+-]\d\d:?\d\d)\z)"));
    if (iso.size() > 32 || !internetDateTime.match(iso).hasMatch())
        return {};
    const QDateTime time = QDateTime::fromString(iso, Qt::ISODate);
    if (!time.isValid())
        return {};
    constexpr qint64 DAY = qint64{24} * 60;
    const qint64 minutes = time.secsTo(now) / 60;
    if (minutes < 2)
        return u"just now"_s;
    if (minutes < 60)
        return u"%1m ago"_s.arg(minutes);
    if (minutes >= DAY)
        return u"%1d ago"_s.arg(minutes / DAY);
    return u"%1h ago"_s.arg(minutes / 60);
}

} // namespace ovalin
