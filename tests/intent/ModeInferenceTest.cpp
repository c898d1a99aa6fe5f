#include "intent/CommitLog.h"
#include "intent/ModeInference.h"

#include "support/Testing.h"

namespace {

constexpr auto ASK = OvalinIntent::ask;
constexpr auto DO = OvalinIntent::doIt;
constexpr auto NEUTRAL = OvalinIntent::neutral;

} // namespace

TEST(ModeInference, RunsAtTheEndOfAWordAndChangesTheModeOnlyWhenItIsTheOther) {
    using Expected = std::optional<ModeInference>;
    struct Row {
        QString prompt;
        bool force;
        ModeState state;
        Expected expected;
    };
    const ModeState doing{};
    const ModeState asking{.askMode = true};
    const ModeState locked{.modeLockedByUser = true};
    const ModeState selected{.hasSelection = true};
    const Row rows[] = {
        {u"what "_s, false, doing, Expected({ASK, true})},
        {u"what "_s, false, asking, Expected({ASK, {}})},
        {u"send it."_s, false, asking, Expected({DO, false})},
        {u"send it!"_s, false, doing, Expected({DO, {}})},
        {u"hello,"_s, false, asking, Expected({NEUTRAL, {}})},
        {u"hello?"_s, false, doing, Expected({ASK, true})},
        {u"translate this"_s, true, ModeState{.askMode = true, .hasSelection = true}, Expected({DO, false})},
        {u"translate this"_s, true, selected, Expected({DO, {}})},
        {u"translate this"_s, true, asking, Expected({NEUTRAL, {}})},
        // Not at the end of a word, unless forced.
        {u"what"_s, false, doing, {}},
        {u"what"_s, true, doing, Expected({ASK, true})},
        {u"what\n"_s, false, doing, {}},
        {u"what\t"_s, false, doing, {}},
        {u"what\u00a0"_s, false, doing, {}},
        {u"what;"_s, false, doing, {}},
        {u"what？"_s, false, doing, {}},
        {u"what?\u0301"_s, false, doing, {}},
        // Never over the user's own choice, never without a text.
        {u"what is this?"_s, false, locked, {}},
        {u"what is this?"_s, true, locked, {}},
        {u""_s, true, doing, {}},
        {u" "_s, false, asking, Expected({NEUTRAL, {}})},
    };
    for (const Row& row : rows)
        EXPECT_EQ(inferMode(row.prompt, row.force, row.state, {}), row.expected) << row.prompt.toStdString();
}

TEST(CommitLog, OnlyAChoiceByHandAgainstADefinitePredictionOverrides) {
    struct Row {
        OvalinIntent predicted;
        bool committedAsk, locked;
        IntentCommit expected;
    };
    const Row rows[] = {
        {ASK, true, false, {u"what"_s, u"ask"_s, u"ask"_s, false}},
        {ASK, true, true, {u"what"_s, u"ask"_s, u"ask"_s, false}},
        {ASK, false, true, {u"what"_s, u"ask"_s, u"do"_s, true}},
        {ASK, false, false, {u"what"_s, u"ask"_s, u"do"_s, false}},
        {DO, true, true, {u"what"_s, u"do"_s, u"ask"_s, true}},
        {DO, false, true, {u"what"_s, u"do"_s, u"do"_s, false}},
        {NEUTRAL, true, true, {u"what"_s, u"neutral"_s, u"ask"_s, false}},
        {NEUTRAL, false, true, {u"what"_s, u"neutral"_s, u"do"_s, false}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(intentCommit(u"ok, what's up", row.committedAsk, row.predicted, row.locked), row.expected);
    for (const char16_t* const headless : {u"", u"um ok so", u"— what is it", u"ok ... what"})
        EXPECT_EQ(intentCommit(headless, true, ASK, true), std::nullopt);
}

TEST(CommitLog, EveryCommitIsOneWholeLine) {
    const QTemporaryDir folder;
    const QString path = commitLogPath(folder.path());
    const QDateTime time(QDate(2026, 11, 16), QTime(19, 30, 5, 999), QTimeZone::utc());
    const IntentCommit nasty{u"a\nb\"\u2028"_s, u"neutral"_s, u"do"_s, false};
    ASSERT_TRUE(logCommit(path, {u"what"_s, u"do"_s, u"ask"_s, true}, time));
    EXPECT_EQ(readFile(path).count('\n'), 1);
    writeFile(path, readFile(path) + R"({"ts":"cut sho)");
    ASSERT_TRUE(logCommit(path, nasty, time));
    ASSERT_TRUE(logCommit(path, nasty, time));

    const QList<QByteArray> lines = readFile(path).split('\n');
    ASSERT_EQ(lines.size(), 5);
    EXPECT_EQ(lines.last(), QByteArray());
    EXPECT_EQ(QJsonDocument::fromJson(lines[0]).object(), (QJsonObject{{u"ts"_s, u"2026-11-16T19:30:05Z"_s},
                                                                       {u"head"_s, u"what"_s},
                                                                       {u"predicted"_s, u"do"_s},
                                                                       {u"committed"_s, u"ask"_s},
                                                                       {u"overridden"_s, true}}));
    EXPECT_EQ(QJsonDocument::fromJson(lines[2]).object()[u"head"_s], nasty.head);
    EXPECT_EQ(lines[2], lines[3]);

    EXPECT_FALSE(logCommit(folder.path(), nasty, time));
    EXPECT_FALSE(logCommit(folder.filePath(u"missing/log"_s), nasty, time));
}
