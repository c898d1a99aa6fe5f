#include "Text.h"

#include <QTextBoundaryFinder>

namespace ovalin {

QString shellQuoted(const QString& text) {
    QString escaped = text;
    escaped.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

QString firstCharacters(const QString& text, qsizetype count) {
    // The finder looks at all of its text at once: it gets no more of a long one than is needed.
    for (qsizetype size = 64 + 8 * count;; size *= 4) {
        const QStringView part = QStringView(text).left(size);
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, part.data(), part.size());
        for (qsizetype i = 0; i < count && finder.position() >= 0; ++i)
            finder.toNextBoundary();
        if (finder.position() >= 0 && finder.position() < part.size())
            return text.left(finder.position());
        if (part.size() == text.size())
            return text;
    }
}

qsizetype characterCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() >= 0)
        ++count;
    return count;
}

QString isoTimestamp(const QDateTime& time) {
    return time.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}

} // namespace ovalin
