#include "Sentences.h"

#include <QTextBoundaryFinder>

#include <utility>

namespace ovalin {

QString Sentences::takeComplete() {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Sentence, rest);
    finder.toEnd();
    // What stands at the end may go on: "3." becomes "3.14".
    const qsizetype end = std::max(finder.toPreviousBoundary(), rest.lastIndexOf(QLatin1Char('\n')) + 1);
    if (end <= 0)
        return {};
    const QString complete = rest.left(end).trimmed();
    rest.remove(0, end);
    return complete;
}

QString Sentences::takeRest() { return std::exchange(rest, {}).trimmed(); }

} // namespace ovalin
