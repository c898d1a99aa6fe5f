#include "ask/AnswerLinks.h"

#include "support/TestDesk.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

QStringList targetsOf(const QString& answer) {
    QStringList targets;
    for (const AnswerRun& run : attributedAnswer(answer)) {
        if (run.link)
            targets.append(run.target);
    }
    return targets;
}

QString shown(const QString& answer) {
    QString text;
    for (const AnswerRun& run : attributedAnswer(answer))
        text += run.link ? QLatin1Char('{') + run.text + QLatin1Char('}') : run.text;
    return text;
}

/// The links of an answer by the regular expression that they are defined by.
std::vector<LinkPair> pairsByExpression(const QString& answer) {
    static const QRegularExpression expression(QStringLiteral(R"(\[([^\]]+)\]\(([^)\s]+)\))"),
                                               QRegularExpression::UseUnicodePropertiesOption);
    std::vector<LinkPair> pairs;
    for (auto matches = expression.globalMatch(answer); matches.hasNext();) {
        const auto match = matches.next();
        pairs.push_back({match.captured(1), match.captured(2)});
    }
    return pairs;
}

} // namespace

TEST(AnswerLinks, MarkdownLinksShowTheirTextAlone) {
    const struct {
        QString answer, shown;
        QStringList targets;
    } rows[] = {
        {QStringLiteral("See [Docs](https://d.example/a_(b) now"),
         QStringLiteral("See {Docs} now"),
         {QStringLiteral("https://d.example/a_(b")}},
        {QStringLiteral("[Docs](https://d.example/a b)"),
         QStringLiteral("[Docs]({https://d.example/a} b)"),
         {QStringLiteral("https://d.example/a")}},
        {QStringLiteral("[a](u)[b](v) [](w) [c]()"),
         QStringLiteral("{a}{b} [](w) [c]()"),
         {QStringLiteral("u"), QStringLiteral("v")}},
        {QStringLiteral("[https://x.example](https://y.example)"),
         QStringLiteral("{https://x.example}"),
         {QStringLiteral("https://y.example")}},
        {QStringLiteral("[two\nlines](u) **bold** `code`"),
         QStringLiteral("{two\nlines} **bold** `code`"),
         {QStringLiteral("u")}},
        {QStringLiteral("[nowhere](http://[broken/)"), QStringLiteral("{nowhere}"), {QString()}},
        {QStringLiteral("[שלום](https://he.example) 👩‍👩‍👧"),
         QStringLiteral("{שלום} 👩‍👩‍👧"),
         {QStringLiteral("https://he.example")}},
        {QStringLiteral("an unpaired [bracket"), QStringLiteral("an unpaired [bracket"), {}},
        {QString(), QString(), {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(shown(row.answer), row.shown);
        EXPECT_EQ(targetsOf(row.answer), row.targets) << qPrintable(row.answer);
    }
}

TEST(AnswerLinks, ThePairsAreThoseOfTheExpression) {
    QRandomGenerator random(7);
    const QString letters = QStringLiteral("[[]]](((())a \n");
    size_t found = 0;
    for (int round = 0; round < 20000; ++round) {
        QString text;
        for (int i = 0; i < 24; ++i)
            text += letters[random.bounded(static_cast<int>(letters.size()))];
        const auto expected = pairsByExpression(text);
        found += expected.size();
        ASSERT_EQ(extractLinkPairs(text), expected) << qPrintable(text);
    }
    EXPECT_GT(found, 1000U);
}

TEST(AnswerLinks, BareAddressesEndWhereAReaderWouldEndThem) {
    const QString rows = QString::fromUtf8(readFile(QStringLiteral(OVALIN_TESTS_DIR "/ask/bare-addresses.tsv")));
    int checked = 0;
    for (const QString& row : rows.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const QString text = row.section(QLatin1Char('\t'), 0, 0);
        EXPECT_EQ(targetsOf(text).join(QLatin1Char(' ')), row.section(QLatin1Char('\t'), 1)) << qPrintable(text);
        ++checked;
    }
    EXPECT_GT(checked, 30);
}

TEST(AnswerLinks, HalfACharacterHidesNoLink) {
    const QString answer = QString(QChar(0xD83D)) + QStringLiteral(" https://x.example ") + QChar(0xDC00);
    EXPECT_EQ(targetsOf(answer), QStringList{QStringLiteral("https://x.example")});
    EXPECT_EQ(shown(answer).remove(QLatin1Char('{')).remove(QLatin1Char('}')), answer);
}

TEST(AnswerLinks, NoTextIsLostAndNoneTakesLong) {
    // Each of these took seconds with one careless expression or another; the tests' own time limit is the judge.
    const QString pieces[] = {
        QStringLiteral("%"),         QStringLiteral(")"),
        QStringLiteral("["),         QStringLiteral("]("),
        QStringLiteral("[a](b"),     QStringLiteral("a@"),
        QStringLiteral("a@b."),      QStringLiteral("a-a."),
        QStringLiteral("www."),      QStringLiteral("http://"),
        QStringLiteral("http://a)"), QStringLiteral("a"),
        QStringLiteral("[x](y)"),    QStringLiteral("https://x.example/) "),
        QStringLiteral("https://"),  QStringLiteral("例"),
    };
    for (const QString& piece : pieces) {
        for (const QString& start :
             {QString(), QStringLiteral("https://x.example/"), QStringLiteral("a@"), QStringLiteral("[")}) {
            const QString answer = start + piece.repeated(1000000 / piece.size());
            qsizetype length = 0;
            for (const AnswerRun& run : attributedAnswer(answer))
                length += run.text.size();
            EXPECT_EQ(length, piece == QStringLiteral("[x](y)") ? start.size() + 166666 : answer.size())
                << qPrintable(piece + QStringLiteral(" after ") + start);
        }
    }
}

TEST(AnswerLinks, OnlyWebAndMailAddressesOpen) {
    const struct {
        const char* target;
        bool opens;
    } rows[] = {
        {"https://x.example/a", true}, {"HTTP://X.EXAMPLE", true},     {"mailto:a@b.example", true},
        {"http://[::1]/", true},       {"javascript:alert(1)", false}, {"file:///etc/passwd", false},
        {"http:///x", false},          {"page.html", false},           {"", false},
        {"ftp://x.example", false},    {"data:text/html,x", false},    {"//x.example", false},
        {"http://[broken/", false},    {"vscode://x.example", false},  {" https://x.example", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(mayOpen(QString::fromUtf8(row.target)), row.opens) << row.target;
}
