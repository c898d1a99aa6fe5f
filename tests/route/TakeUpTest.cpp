#include "route/TakeUp.h"

#include "RouteFolder.h"
#include "base/WholeFile.h"
#include "route/CapturesLedger.h"
#include "route/Router.h"

#include <QRandomGenerator>

namespace {

struct TakeUp : RouteFolder {
    const QDateTime start = QDateTime::currentDateTimeUtc();

    /// A request of `seconds` before the start.
    QueueItem request(const QString& prompt, qint64 seconds = 60) const {
        QueueItem made = item(prompt);
        made.id = requestId(start.addSecs(-seconds), 1);
        return made;
    }
    QString file(const QueueItem& item) const { return queueFilePath(paths.queueDir, item.id); }
    void mark(const QueueItem& item) const { writeFile(routerMark(file(item)), {}); }
    void record(const QueueItem& item) const { ASSERT_TRUE(appendToCaptures(paths.capturesFile, item)); }
    void queue(const QueueItem& item) const { ASSERT_TRUE(writeQueueFile(paths.queueDir, item)); }
    static QStringList prompts(const QList<QueueItem>& items) {
        QStringList found;
        for (const QueueItem& each : items)
            found.append(each.prompt);
        return found;
    }
    QString statusOf(const QueueItem& item) const { return entryIn(ledger(), item.id)[u"status"_s].toString(); }
};

} // namespace

TEST_F(TakeUp, OnlyWhatNeverHadARouterIsLaunched) {
    struct Row {
        const char* prompt;
        bool recorded, queued, marked, processed;
        const char* status;
        bool launched, interrupted;
    };
    const Row rows[] = {
        {"killed before its router", true, true, false, false, "queued", true, false},
        {"in the ledger alone", true, false, false, false, "queued", true, false},
        {"in the queue alone", false, true, false, false, "queued", true, false},
        {"its router was killed", true, true, true, false, "queued", false, true},
        {"its router was killed, no entry", false, true, true, false, "queued", false, true},
        {"done", true, true, false, false, "ready", false, false},
        {"asks", true, true, true, false, "needs attention", false, false},
        {"done by a router that keeps no ledger", true, false, true, true, "queued", false, false},
        {"taken by hand", true, false, false, true, "queued", false, false},
    };
    qint64 age = 1000;
    QStringList launched, interrupted;
    QList<QueueItem> items;
    for (const Row& row : rows) {
        const QueueItem made = request(QLatin1String(row.prompt), --age);
        items.append(made);
        if (row.recorded)
            record(made);
        if (row.recorded && QLatin1String(row.status) != QUEUED)
            std::ignore = settleCapture(paths.capturesFile, made.id, QLatin1String(row.status), {});
        if (row.queued)
            queue(made);
        if (row.marked)
            mark(made);
        if (row.processed)
            writeFile(paths.queueDir + u"/processed/"_s + made.id + u".json"_s, "{}");
        if (row.launched)
            launched.append(made.prompt);
        if (row.interrupted)
            interrupted.append(made.prompt);
    }
    const QString picture = paths.queueDir + QLatin1Char('/') + items[1].id + u".png"_s;
    writeFile(picture, "png");
    record(request(u"of this run"_s, -1));
    record(request(u"of last year"_s, 400 * 24 * 3600));

    const TakenUp found = takeUpRequests(paths, start);
    EXPECT_EQ(prompts(found.launch), launched) << "oldest first";
    EXPECT_EQ(prompts(found.interrupted), interrupted);
    for (const QueueItem& each : found.interrupted) {
        EXPECT_EQ(statusOf(each), NEEDS_ATTENTION);
        const QJsonValue told = entryIn(ledger(), each.id)[u"result"_s][u"summary"_s];
        EXPECT_TRUE(told.toString().contains(u"nobody knows how far it came"_s)) << each.prompt.toStdString();
    }
    items[1].screenshot = picture;
    EXPECT_EQ(queueFile(items[1].id), items[1].queueEntry()) << "its queue file is there again";
    EXPECT_TRUE(takeUpRequests(paths, start).interrupted.isEmpty()) << "said once";
}

TEST_F(TakeUp, OfManyTheNewestAreLaunchedAndTheOthersLeftAsTheyAre) {
    QStringList newest;
    for (int i = 0; i < 23; ++i) {
        record(request(QString::number(i), 100 - i));
        if (i >= 3)
            newest.append(QString::number(i));
    }
    const TakenUp found = takeUpRequests(paths, start);
    EXPECT_EQ(prompts(found.launch), newest);
    EXPECT_EQ(found.left, 3);
    EXPECT_EQ(QDir(paths.queueDir).entryList({u"*.json"_s}, QDir::Files).size(), 20);
}

TEST_F(TakeUp, ALivingRouterIsLeftInPeace) {
    const QueueItem running = request(u"long work"_s);
    record(running);
    queue(running);
    mark(running);
    QProcess router;
    router.start(u"/bin/sh"_s, {u"-c"_s, u"sleep 100"_s, file(running)});
    ASSERT_TRUE(router.waitForStarted());
    EXPECT_TRUE(takeUpRequests(paths, start).interrupted.isEmpty());
    router.kill();
    router.waitForFinished();
    EXPECT_EQ(takeUpRequests(paths, start).interrupted.size(), 1);
}

TEST_F(TakeUp, AMarkIsMadeByOneAndTheOtherLaunchesNothing) {
    writeProgram(paths.routerScript, "#!/bin/sh\necho ran\n");
    const QueueItem made = request(u"once"_s);
    queue(made);
    EXPECT_EQ(spawnRouter(file(made), paths, {}).start, RouterStart::Launched);
    EXPECT_EQ(spawnRouter(file(made), paths, {}).start, RouterStart::MarkedBefore);
    writeFile(home + u"/no-folder"_s, {});
    const auto unmarked = spawnRouter(home + u"/no-folder/cap-1-0000.json"_s, paths, {});
    EXPECT_EQ(unmarked.start, RouterStart::NotMarked);
    EXPECT_EQ(shortReason(unmarked.reason), u"not a directory"_s);
}

TEST_F(TakeUp, AnUnreadableLedgerLaunchesNothing) {
    queue(request(u"perhaps done"_s));
    QDir().mkpath(paths.capturesFile); // not readable as a file
    EXPECT_TRUE(takeUpRequests(paths, start).launch.isEmpty());
}

TEST_F(TakeUp, LeftOversAreSweptButNotWhatAnotherCopyWorksWith) {
    const QueueItem waiting = request(u"waits"_s), gone = request(u"gone"_s, 90),
                    interrupted = request(u"interrupted"_s, 80);
    queue(waiting);
    mark(waiting);
    mark(gone);
    record(interrupted);
    mark(interrupted);
    const QString temporary = paths.systemDir + u"/.ovalin-0123.tmp"_s;
    // A store that is a link is replaced where that leads.
    const QString linked = home + u"/synced/.ovalin-4567.tmp"_s;
    writeFile(home + u"/synced/prompts.json"_s, "{}");
    QFile::link(home + u"/synced/prompts.json"_s, paths.systemDir + u"/ovalin-prompts.json"_s);
    const QString picture = paths.queueDir + QLatin1Char('/') + gone.id + u".png"_s;
    const QString needed = paths.queueDir + QLatin1Char('/') + waiting.id + u".png"_s;
    const QString shot = QDir::tempPath() + u"/ovalin-shot-%1.png"_s.arg(QRandomGenerator::global()->generate());
    for (const QString& name : {temporary, linked, picture, needed, shot})
        writeFile(name, "left");
    sweepLeftOvers(paths, start, true);
    EXPECT_TRUE(QFile::exists(temporary) && QFile::exists(picture) && QFile::exists(shot)) << "too young";
    EXPECT_TRUE(QFile::exists(routerMark(file(gone))));
    sweepLeftOvers(paths, QDateTime::currentDateTimeUtc().addSecs(1), false);
    EXPECT_FALSE(QFile::exists(temporary) || QFile::exists(linked) || QFile::exists(picture) || QFile::exists(shot));
    EXPECT_FALSE(QFile::exists(routerMark(file(gone))));
    EXPECT_TRUE(QFile::exists(needed) && QFile::exists(routerMark(file(waiting))));
    EXPECT_TRUE(QFile::exists(routerMark(file(interrupted)))) << "it would be launched a second time";
}
