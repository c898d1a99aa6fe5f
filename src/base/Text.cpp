#include "Text.h"

#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LONGEST_CHARACTER = 12; // UTF-16 units: a family of four, with their skin
constexpr int MOST_MARKS = 4;

/// Whether a character begins between these two, whatever stands around them: only from U+0300 on do code points join.
bool certainlyApart(QChar before, QChar after) {
    return before.unicode() < 0x300 && after.unicode() < 0x300 && !(before == u'\r' && after == u'\n');
}

// The finder looks at all it is given before it answers: ten megabytes are not for one look.
qsizetype nextCertainBoundary(const QString& text, qsizetype from) {
    qsizetype to = from + 1;
    while (to < text.size() && !certainlyApart(text[to - 1], text[to]))
        ++to;
    return to;
}

struct Walked {
    qsizetype characters;
    qsizetype end;
};

/// Over `most` characters, but not beyond `to`.
Walked walk(const QString& text, qsizetype from, qsizetype to, qsizetype most) {
    if (to - from == 1)
        return {1, to};
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.constData() + from, to - from);
    qsizetype count = 0;
    while (count < most && finder.toNextBoundary() >= 0)
        ++count;
    return {count, finder.position() < 0 ? to : from + finder.position()};
}

constexpr char16_t LATIN_END = 0x250; // where folding looks up what it would else take ten times as long for

QString foldedBySteps(const QString& text) {
    QString letters = text.normalized(QString::NormalizationForm_KD);
    letters.removeIf([](QChar character) { return character.category() == QChar::Mark_NonSpacing; });
    return letters.toCaseFolded().replace(u'ß', "ss"_L1);
}

} // namespace

QString shellQuoted(const QString& text) {
    QString escaped = text;
    escaped.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

QString firstCharacters(const QString& text, qsizetype count) {
    qsizetype from = 0;
    while (from < text.size() && count > 0) {
        const qsizetype to = nextCertainBoundary(text, from);
        const Walked walked = walk(text, from, to, count);
        count -= walked.characters;
        from = walked.end;
    }
    return text.left(from);
}

qsizetype characterCount(const QString& text) {
    qsizetype count = 0;
    for (qsizetype from = 0; from < text.size();) {
        const qsizetype to = nextCertainBoundary(text, from);
        count += walk(text, from, to, to - from).characters;
        from = to;
    }
    return count;
}

QString onOneLine(const QString& text, qsizetype most) {
    QString line;
    int marks = 0; // one upon the other
    for (const QChar character :
         firstCharacters(QStringView(text).trimmed().left(LONGEST_CHARACTER * most).toString(), most)) {
        const char16_t code = character.unicode();
        if ((code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x206F))
            continue;
        marks = character.category() == QChar::Mark_NonSpacing ? marks + 1 : 0;
        if (marks <= MOST_MARKS)
            line += character.category() == QChar::Other_Control ? u' ' : character;
    }
    return line.simplified();
}

QString inPlainLines(QString text) {
    for (QChar& character : text) {
        const bool turns = character == u'\u202D' || character == u'\u202E';
        if (turns || (character.category() == QChar::Other_Control && !character.isSpace()))
            character = QChar::ReplacementCharacter;
    }
    return text;
}

QString folded(const QString& text) {
    static const auto LATIN = [] {
        std::array<QString, LATIN_END> letters;
        for (char16_t code = 0; code < LATIN_END; ++code)
            letters[code] = foldedBySteps(QString(QChar(code)));
        return letters;
    }();
    QString letters;
    letters.reserve(text.size());
    for (qsizetype from = 0; from < text.size();) {
        const auto isLatin = [](QChar character) { return character.unicode() < LATIN_END; };
        const auto other = std::find_if(text.begin() + from, text.end(), isLatin);
        if (const qsizetype length = other - (text.begin() + from); length > 0)
            letters += foldedBySteps(text.mid(from, length));
        for (from = other - text.begin(); from < text.size() && isLatin(text[from]); ++from)
            letters += LATIN[text[from].unicode()];
    }
    return letters;
}

QString isoTimestamp(const QDateTime& time) {
    return time.toUTC().toString(u"yyyy-MM-ddTHH:mm:ss"_s) + QLatin1Char('Z');
}

} // namespace ovalin
