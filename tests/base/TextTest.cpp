#include "base/Text.h"
#include "support/Testing.h"

TEST(Text, ShellQuotingSurvivesEveryQuote) {
    EXPECT_EQ(shellQuoted(u"a'b $(x) `y`"_s), u"'a'\\''b $(x) `y`'"_s);
    EXPECT_EQ(shellQuoted(QString()), u"''"_s);
}

TEST(Text, CharactersAreWhatThePersonSees) {
    const QString family = u"👩‍👩‍👧"_s;
    const QString text = family + u"é!"_s;
    EXPECT_EQ(characterCount(text), 3);
    EXPECT_EQ(firstCharacters(text, 1), family);
    EXPECT_EQ(firstCharacters(text, 3), text);
    EXPECT_EQ(firstCharacters(text, 99), text);
    EXPECT_EQ(firstCharacters(text, 0), QString());
    const QString stacked = QLatin1Char('e') + QString(5000, QChar(0x301)); // one letter under five thousand accents
    EXPECT_EQ(firstCharacters(stacked + text, 1), stacked);
    EXPECT_EQ(firstCharacters(stacked.repeated(3), 3), stacked.repeated(3));
    EXPECT_EQ(characterCount(u"a\r\nb\n"_s + family + family + u"c"_s), 7);
    EXPECT_EQ(firstCharacters(u"x\r\n"_s + family + u"y"_s, 3), u"x\r\n"_s + family);
}

TEST(Text, OthersWordsAreBroughtIntoAHarmlessForm) {
    const QString accents(8, QChar(0x301));
    const struct {
        QString (*form)(const QString&);
        QString text, expected;
    } rows[] = {
        {[](const QString& text) { return onOneLine(text, 10); }, u" a\nb\t\x1b[31mc, and more"_s, u"a b [31mc"_s},
        {[](const QString& text) { return onOneLine(text, 9); }, u"\u202Eab\u2066c\u206F\u202A"_s, u"abc"_s},
        {[](const QString& text) { return onOneLine(text, 9); }, u"e"_s + accents + u"f"_s + accents,
         u"e"_s + accents.left(4) + u"f"_s + accents.left(4)},
        {[](const QString& text) { return inPlainLines(text); }, u"a\tb\n\u202Ec\u202D\x1b"_s,
         u"a\tb\n\uFFFDc\uFFFD\uFFFD"_s},
        {folded, u"Élan Straße, ΤΈΛΟΣ und Ångström"_s, u"elan strasse, τελοσ und angstrom"_s},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.form(row.text), row.expected);
}
