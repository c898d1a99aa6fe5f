#include "Sentences.h"

#include <QTextBoundaryFinder>

#include <utility>

namespace ovalin {

QString Sentences::takeComplete() {
    constexpr qsizetype LAST_LETTERS = 64;
    const QStringView unknown = QStringView(rest).sliced(std::max<qsizetype>(0, looked - LAST_LETTERS));
    QTextBoundaryFinder finder(QTextBoundaryFinder::Sentence, unknown);
    finder.toEnd();
    // What stands at the end may go on: "3." becomes "3.14".
    const qsizetype end = std::max(finder.toPreviousBoundary(), unknown.lastIndexOf(QLatin1Char('\n')) + 1);
    looked = rest.size();
    if (end <= 0)
        return {};
    const QString complete = rest.chopped(unknown.size() - end).trimmed();
    rest = unknown.sliced(end).toString();
    looked = rest.size();
    return complete;
}

QString Sentences::takeRest() {
    looked = 0;
    return std::exchange(rest, {}).trimmed();
}

} // namespace ovalin
