#include "intent/IntentLexicon.h"

#include "support/Testing.h"

#include <limits>

namespace {

class LexiconFile : public testing::Test {
protected:
    QTemporaryDir folder;
    QString path = IntentLexicon::storePath(folder.path());

    [[nodiscard]] IntentLexicon loaded(const QByteArray& bytes) const {
        writeFile(path, bytes);
        return IntentLexicon::load(path);
    }
};

} // namespace

TEST(Lexicon, WeightFollowsTheCounts) {
    constexpr qint64 huge = std::numeric_limits<qint64>::max();
    struct Row {
        qint64 ask, did;
        int weight;
    };
    const Row rows[] = {{0, 0, 0},   {1, 0, 1},  {3, 0, 1},   {4, 0, 2},    {400, 0, 2},     {1, 1, 0},
                        {0, 1, -1},  {0, 3, -1}, {0, 4, -2},  {10, 20, -1}, {huge, 0, 2},    {0, huge, -2},
                        {-1, 0, -2}, {0, -1, 2}, {-1, -1, 0}, {-5, 3, 0},   {huge, huge, 0}, {-huge, 1, 0}};
    for (const Row& row : rows) {
        IntentLexicon lexicon;
        lexicon.heads[u"word"_s] = {{u"ask"_s, row.ask}, {u"do"_s, row.did}};
        EXPECT_EQ(lexicon.weightFor(u"word"), row.weight) << row.ask << ' ' << row.did;
        EXPECT_EQ(lexicon.weightFor(u"wor"), 0);
    }
}

TEST(Lexicon, CountsEachSubmissionAndNeverOverflows) {
    IntentLexicon lexicon;
    lexicon.record(u"compare"_s, true);
    lexicon.record(u"compare"_s, false);
    lexicon.record(u"compare"_s, false);
    lexicon.record(QString(), true);
    EXPECT_EQ(lexicon.serialised(), R"({"heads":{"compare":{"ask":1,"do":2}}})");

    lexicon.heads = {{u"bare"_s, {{u"seen"_s, 3}}}, {u"full"_s, {{u"ask"_s, std::numeric_limits<qint64>::max()}}}};
    lexicon.record(u"bare"_s, false);
    lexicon.record(u"full"_s, true);
    EXPECT_EQ(lexicon.heads[u"bare"_s], (IntentLexicon::Counters{{u"do"_s, 1}, {u"seen"_s, 3}}));
    EXPECT_EQ(lexicon.weightFor(u"full"), 2);
}

TEST_F(LexiconFile, SurvivesTheFileWithSortedKeysAndUnknownCounters) {
    const QByteArray stored = R"({"heads":{"remind":{"ask":0,"do":3},"what":{"ask":5,"do":1,"skipped":7},"é\"\\":{}}})";
    const IntentLexicon lexicon = loaded(stored);
    EXPECT_EQ(lexicon.weightFor(u"remind"), -1);
    EXPECT_TRUE(lexicon.save(path));
    EXPECT_EQ(readFile(path), stored);
}

TEST_F(LexiconFile, AnotherShapeIsAnEmptyLexicon) {
    const char* const rows[] = {"",
                                "{",
                                "[]",
                                "null",
                                "{}",
                                R"({"heads":[]})",
                                R"({"heads":{"a":1}})",
                                R"({"heads":{"a":{"ask":1},"b":{"ask":1.5}}})",
                                R"({"heads":{"a":{"ask":true}}})",
                                R"({"heads":{"a":{"ask":"1"}}})",
                                R"({"heads":{"a":{"ask":null}}})",
                                R"({"heads":{"a":{"ask":1,"other":0.5}}})",
                                R"({"heads":{"a":{"ask":1e999}}})",
                                "{\"heads\":{\"\xff\":{\"ask\":1}}}"};
    for (const char* const row : rows)
        EXPECT_TRUE(loaded(row).heads.isEmpty()) << row;
    EXPECT_TRUE(loaded(QByteArray(20'000'000, '[')).heads.isEmpty());
    EXPECT_TRUE(loaded(QByteArray(20'000'000, '\0')).heads.isEmpty());
}

TEST_F(LexiconFile, LargeNumbersAreReadAsTheLargestThatCounts) {
    const IntentLexicon lexicon =
        loaded(R"({"heads":{"a":{"ask":1e300,"do":2.0},"b":{"ask":9223372036854775807,"do":-1e300}}})");
    EXPECT_EQ(lexicon.heads.size(), 2);
    EXPECT_EQ(lexicon.heads[u"a"_s][u"do"_s], 2);
    EXPECT_EQ(lexicon.heads[u"a"_s][u"ask"_s], lexicon.heads[u"b"_s][u"ask"_s]);
    EXPECT_EQ(lexicon.weightFor(u"a"), 2);
}

TEST_F(LexiconFile, WhatCannotBeReadOrWrittenCostsNothing) {
    EXPECT_TRUE(IntentLexicon::load(path).heads.isEmpty());
    EXPECT_TRUE(IntentLexicon::load(folder.path()).heads.isEmpty());
    EXPECT_FALSE(IntentLexicon().save(folder.path()));
}
