#include "MarkdownMarks.h"

#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString withoutStress(QString text) {
    static const QRegularExpression strong(u"\\*\\*(?=[^\\s*])(.+?)(?<=[^\\s*])\\*\\*"_s);
    static const QRegularExpression soft(u"(?<![*\\w])\\*(?=[^\\s*])([^*]+?)(?<=[^\\s*])\\*(?![*\\w])"_s);
    return text.replace(strong, u"\\1"_s).replace(soft, u"\\1"_s);
}

QString plainLine(QString line) {
    static const QRegularExpression heading(u"^ {0,3}#{1,6}\\s+"_s), item(u"^(\\s*)[*+]\\s+"_s);
    line.remove(heading).replace(item, u"\\1- "_s);
    QStringList parts = line.split(QLatin1Char('`'));
    if (parts.size() % 2 == 0) // one tick is without its fellow
        return withoutStress(line);
    for (qsizetype i = 0; i < parts.size(); i += 2)
        parts[i] = withoutStress(parts[i]);
    return parts.join(QString());
}

} // namespace

QString withoutMarks(const QString& text) {
    QStringList plain;
    bool code = false;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.trimmed().startsWith(u"```"_s))
            code = !code;
        else
            plain.append(code ? line : plainLine(line));
    }
    return plain.join(QLatin1Char('\n'));
}

QString asSpoken(const QString& text) {
    static const QRegularExpression link(u"\\[([^\\[\\]]+)\\]\\(https?://[^\\s()]*\\)"_s);
    return withoutMarks(text).replace(link, u"\\1"_s);
}

} // namespace ovalin
