#include "ask/AnswerLinks.h"

#include "support/Testing.h"

#include <QRandomGenerator>
#include <QRegularExpression>

namespace {

QStringList targetsOf(const QString& answer) {
    QStringList targets;
    for (const LinkSpan& link : attributedAnswer(answer))
        targets.append(link.target);
    return targets;
}

QString shown(const QString& answer) {
    QString text = answer;
    const auto links = attributedAnswer(answer);
    for (auto link = links.rbegin(); link != links.rend(); ++link)
        text.replace(link->from, link->length, QLatin1Char('{') + link->shown + QLatin1Char('}'));
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
        const char *answer, *shown, *targets;
    } rows[] = {
        {"See [Docs](https://d.example/a_(b) now", "See {Docs} now", "https://d.example/a_(b"},
        {"[Docs](https://d.example/a b)", "[Docs]({https://d.example/a} b)", "https://d.example/a"},
        {"[a](u)[b](v) [](w) [c]()", "{a}{b} [](w) [c]()", "u v"},
        {"[https://x.example](https://y.example)", "{https://x.example}", "https://y.example"},
        {"[two\nlines](u) **bold** `code`", "{two\nlines} **bold** `code`", "u"},
        {"[nowhere](http://[broken/)", "{nowhere}", ""},
        {"[שלום](https://he.example) 👩‍👩‍👧", "{שלום} 👩‍👩‍👧", "https://he.example"},
        {"an unpaired [bracket", "an unpaired [bracket", ""},
        {"", "", ""},
    };
    for (const auto& row : rows) {
        const QString answer = QString::fromUtf8(row.answer);
        EXPECT_EQ(shown(answer), QString::fromUtf8(row.shown));
        EXPECT_EQ(targetsOf(answer).join(QLatin1Char(' ')), QString::fromUtf8(row.targets)) << row.answer;
    }
}

TEST(AnswerLinks, ThePairsAreThoseOfTheExpression) {
    QRandomGenerator random(7);
    const QString letters = u"[[]]](((())a \n"_s;
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
    const QString answer = QString(QChar(0xD83D)) + u" https://x.example "_s + QChar(0xDC00);
    EXPECT_EQ(targetsOf(answer), QStringList{u"https://x.example"_s});
    EXPECT_EQ(shown(answer).remove(QLatin1Char('{')).remove(QLatin1Char('}')), answer);
}

TEST(AnswerLinks, LinksDoNotOverlapAndNoneTakesLong) {
    // Each of these took seconds with one careless expression or another; the tests' own time limit is the judge.
    for (const char* part : {"%", ")", "[", "](", "[a](b", "a@", "a@b.", "a-a.", "www.", "http://", "http://a)", "a",
                             "[x](y)", "https://x.example/) ", "https://", "例"}) {
        const QString piece = QString::fromUtf8(part);
        for (const char* first : {"", "https://x.example/", "a@", "["}) {
            const QString start = QString::fromUtf8(first);
            const QString answer = start + piece.repeated(1000000 / piece.size());
            qsizetype at = 0;
            for (const LinkSpan& link : attributedAnswer(answer)) {
                EXPECT_GE(link.from, at) << first << part;
                at = link.from + link.length;
            }
            EXPECT_LE(at, answer.size()) << first << part;
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
        {"http:///x", false},          {"page.html", false},           {"mailto:?x", false},
        {"ftp://x.example", false},    {"data:text/html,x", false},    {"//x.example", false},
        {"http://[broken/", false},    {"vscode://x.example", false},  {" https://x.example", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(openable(QString::fromUtf8(row.target)) == QString::fromUtf8(row.target), row.opens) << row.target;
    EXPECT_EQ(openable(u"mailto:a@b.example%0Abcc:x?cc=c@d.example&Subject=Hi%20you%0D%0ABcc:x&attach="
                       "/etc/passwd&body=One%0ATwo&attachment=x"_s),
              u"mailto:a@b.examplebcc:x?Subject=Hi%20youBcc:x&body=One%0ATwo"_s);
}
