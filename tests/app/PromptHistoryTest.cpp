#include "app/PromptHistory.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"
#include "support/Limits.h"

using Step = PromptHistory::Step;

namespace {

struct PromptHistoryTest : testing::Test {
    QTemporaryDir folder;
    FakeDispatch dispatch;
    LogRecorder log;
    QString path = PromptHistory::storePath(folder.filePath(u"system"_s));

    /// What the walk brings from an empty prompt, newest first.
    QStringList walked(PromptHistory& history) {
        QStringList found;
        QString text;
        history.rewind();
        while (const auto next = history.recall(Step::Older, text))
            found.append(text = *next);
        return found;
    }
    std::unique_ptr<PromptHistory> loaded() {
        auto history = std::make_unique<PromptHistory>(dispatch, path);
        history->load();
        dispatch.runMain();
        return history;
    }
};

} // namespace

TEST_F(PromptHistoryTest, AWalkBeginsInAnEmptyPromptAndEndsWithAnEdit) {
    PromptHistory history(dispatch, path);
    for (const char* text : {"one", "two", "one", " ", "three"})
        history.remember(QLatin1String(text));
    EXPECT_EQ(walked(history), (QStringList{u"three"_s, u"one"_s, u"two"_s}));
    history.rewind();
    EXPECT_EQ(history.recall(Step::Newer, {}), std::nullopt);
    EXPECT_EQ(history.recall(Step::Older, u"typed"_s), std::nullopt);
    EXPECT_EQ(history.recall(Step::Older, {}), u"three"_s);
    EXPECT_EQ(history.recall(Step::Older, u"three"_s), u"one"_s);
    EXPECT_EQ(history.recall(Step::Newer, u"one"_s), u"three"_s);
    EXPECT_EQ(history.recall(Step::Newer, u"three"_s), QString());
    EXPECT_EQ(history.recall(Step::Older, {}), u"three"_s);
    EXPECT_EQ(history.recall(Step::Older, u"three, edited"_s), std::nullopt);
    EXPECT_EQ(history.recall(Step::Older, {}), u"three"_s) << "and emptied";
}

TEST_F(PromptHistoryTest, FiftyStayForThirtyDaysInAPrivateFile) {
    QStringList all;
    {
        PromptHistory history(dispatch, path);
        for (int i = 0; i < 60; ++i) {
            dispatch.wall = dispatch.wall.addSecs(3600);
            history.remember(u"prompt %1"_s.arg(i));
            all.prepend(u"prompt %1"_s.arg(i));
        }
        EXPECT_EQ(walked(history), all.first(50));
    }
    EXPECT_EQ(QFile::permissions(path) & 0x077, QFile::Permissions());
    auto history = loaded();
    EXPECT_EQ(walked(*history), all.first(50));
    dispatch.wall = dispatch.wall.addDays(30).addSecs(-1800 - 3600);
    EXPECT_EQ(walked(*history), all.first(2)) << "also without a restart";
    dispatch.wall = dispatch.wall.addDays(1);
    loaded();
    EXPECT_FALSE(readFile(path).contains("prompt 5")) << "and from the file";
}

TEST_F(PromptHistoryTest, WhatCannotBeReadIsLeftAndWhatIsDamagedIsSetAside) {
    loaded()->remember(u"kept"_s);
    for (const char* again : {"said later", ""}) { // with the next, or at the end
        auto history = loaded();
        {
            const DescriptorLimit none(0);
            history->remember(u"kept aside"_s + QLatin1String(again));
        }
        EXPECT_FALSE(readFile(path).contains("kept aside" + QByteArray(again) + '"'));
        history->remember(QLatin1String(again));
        history->saveAgain();
    }
    EXPECT_EQ(walked(*loaded()), (QStringList{u"kept aside"_s, u"said later"_s, u"kept asidesaid later"_s, u"kept"_s}));
    EXPECT_EQ(log.count(u"Ovalin: past prompts are left as they are — "_s), 2);
    writeFile(path, "{\"prompts\": [");
    loaded()->remember(u"new"_s);
    EXPECT_EQ(walked(*loaded()), QStringList{u"new"_s});
    EXPECT_EQ(log.count(u"Ovalin: past prompts set aside as "_s), 1);
}
