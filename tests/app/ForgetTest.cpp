#include "app/Forget.h"

#include "app/PromptHistory.h"
#include "history/AskHistory.h"
#include "intent/CommitLog.h"
#include "intent/IntentLexicon.h"
#include "route/Processed.h"
#include "route/Undelivered.h"
#include "support/Testing.h"

#include <QDirIterator>

namespace {

const QString DONE = u"cap-1-0001"_s, ASKS = u"cap-2-0002"_s, UNDONE = u"cap-3-0003"_s, DROPPED = u"cap-4-0004"_s;

/// A home in which every store holds a word, with a ledger that another tool writes too.
struct ForgetTest : testing::Test {
    QTemporaryDir home;
    Paths paths = Paths::under(home.path());

    ForgetTest() {
        paths.runtimeDir = home.filePath(u"run"_s);
        const QString processed = paths.queueDir + u"/processed/"_s;
        const QString& system = paths.systemDir;
        for (const QString& file :
             {AskHistory::storePath(system), AskHistory::archivePath(system), PromptHistory::storePath(system),
              IntentLexicon::storePath(system), commitLogPath(system), paths.routerLog, processed + DONE + u".json"_s,
              processed + DONE + u".png"_s, processed + ASKS + u".json"_s, processed + DROPPED + u".json"_s,
              system + u"/ovalin-prompts-unreadable-2026.json"_s, system + u"/captures-unreadable-2026.json"_s,
              undeliveredFolders(system, paths.runtimeDir).first() + u"/cap-5-0005.json"_s,
              paths.queueDir + QLatin1Char('/') + UNDONE + u".json"_s})
            writeFile(file, "a secret");
        writeLedger();
    }
    void writeLedger() const {
        writeFile(paths.capturesFile, R"({"items":[{"id":"cap-1-0001","status":"ready","prompt":"a secret"},
            {"id":"cap-2-0002","status":"needs attention"},{"id":"cap-3-0003","status":"queued"},
            {"id":"theirs","prompt":"of another tool"}]})");
    }
    [[nodiscard]] QStringList holding(const QByteArray& word) const {
        QStringList found;
        for (QDirIterator each(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
             each.hasNext();) {
            if (readFile(each.next()).contains(word))
                found.append(each.fileName());
        }
        found.sort();
        return found;
    }
};

} // namespace

TEST_F(ForgetTest, NothingOfTheUsersWordsStaysButWhatIsNotDone) {
    const auto undone = forgetAll(paths);
    ASSERT_TRUE(undone) << undone.error().toStdString();
    EXPECT_EQ(*undone, 1);
    EXPECT_EQ(holding("secret"), QStringList(UNDONE + u".json"_s));
    const QByteArray ledger = readFile(paths.capturesFile);
    EXPECT_TRUE(ledger.contains(UNDONE.toUtf8()) && ledger.contains("of another tool"));
    EXPECT_FALSE(ledger.contains(DONE.toUtf8()) || ledger.contains(ASKS.toUtf8()));
    EXPECT_TRUE(forgetAll(Paths::under(home.filePath(u"empty"_s)))) << "nothing is there";
    EXPECT_FALSE(QDir(home.filePath(u"empty"_s)).exists());
}

TEST_F(ForgetTest, WhatIsDoneGoesAfterItsTimeAndNothingElse) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const auto left = [this] { return QDir(paths.queueDir + u"/processed"_s).entryList(QDir::Files); };
    sweepProcessed(paths, now.addDays(-1));
    EXPECT_EQ(left().size(), 4) << "too young";
    writeFile(paths.capturesFile, "{ damaged");
    sweepProcessed(paths, now.addDays(1));
    EXPECT_EQ(left().size(), 4) << "nobody can tell what is done";
    writeLedger();
    sweepProcessed(paths, now.addDays(1));
    EXPECT_EQ(left(), QStringList(ASKS + u".json"_s));
    EXPECT_TRUE(QFile::exists(paths.queueDir + QLatin1Char('/') + UNDONE + u".json"_s));
}
