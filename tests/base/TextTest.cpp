#include "base/Text.h"

#include <gtest/gtest.h>

using namespace ovalin;

TEST(Text, ShellQuotingSurvivesEveryQuote) {
    EXPECT_EQ(shellQuoted(QStringLiteral("a'b $(x) `y`")), QStringLiteral("'a'\\''b $(x) `y`'"));
    EXPECT_EQ(shellQuoted(QString()), QStringLiteral("''"));
}

TEST(Text, CharactersAreWhatThePersonSees) {
    const QString family = QStringLiteral("👩‍👩‍👧");
    const QString text = family + QStringLiteral("é!");
    EXPECT_EQ(characterCount(text), 3);
    EXPECT_EQ(firstCharacters(text, 1), family);
    EXPECT_EQ(firstCharacters(text, 3), text);
    EXPECT_EQ(firstCharacters(text, 99), text);
    EXPECT_EQ(firstCharacters(text, 0), QString());
    const QString stacked = QLatin1Char('e') + QString(5000, QChar(0x301)); // one letter under five thousand accents
    EXPECT_EQ(firstCharacters(stacked + text, 1), stacked);
    EXPECT_EQ(firstCharacters(stacked.repeated(3), 3), stacked.repeated(3));
    EXPECT_EQ(characterCount(QStringLiteral("a\r\nb\n") + family + family + QStringLiteral("c")), 7);
    EXPECT_EQ(firstCharacters(QStringLiteral("x\r\n") + family + QStringLiteral("y"), 3),
              QStringLiteral("x\r\n") + family);
}
