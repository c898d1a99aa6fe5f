#include "route/RequestList.h"

#include "RouteFolder.h"
#include "route/Router.h"
#include "route/RunningRouters.h"

namespace {

const QDateTime NOW(QDate(2026, 11, 16), QTime(20, 0), QTimeZone::utc());

struct RequestList : RouteFolder {
    void writeLedger(const QByteArray& items) const {
        writeFile(paths.capturesFile, R"({"items": [)" + items + R"(], "meta": 7})");
    }
    /// "words state app summary age", a row each.
    QString listed() const {
        QStringList rows;
        for (const PastRequest& row : listRequests(paths, NOW).newest)
            rows.append(QStringList{row.words, row.stateName, row.app, row.summary, row.age}.join(QLatin1Char('|')));
        return rows.join(QLatin1Char('\n'));
    }
};

} // namespace

TEST_F(RequestList, TheNewestFirstWithWhateverOthersHaveWritten) {
    EXPECT_EQ(listed() + listRequests(paths, NOW).trouble, QString()) << "no ledger yet";
    const struct {
        const char *items, *rows;
    } rows[] = {
        {"", ""},
        {R"(1, "x", null, [], {}, {"id": 7}, {"prompt": ["x"]}, {"status": "ready"})", ""},
        {R"({"id": "mine", "title": "by a tool", "status": "done"})", "by a tool|done|||"},
        {R"({"prompt": " two\nlines ", "text": "t", "source_app": "Ed", "status": "needs attention",
             "result": {"summary": "Which\none?"}, "ts": "2026-11-16T19:30:00Z"})",
         "two lines|needs attention|Ed|Which one?|30m ago"},
        {R"({"text": "selected", "result": "none", "status": 3, "ts": "yesterday"})", "selected||||"},
        {R"({"prompt": "old", "ts": "2026-11-01T00:00:00Z"}, {"prompt": "undated"},
            {"id": "cap-1794857400000-0000", "prompt": "new", "status": "queued"})",
         "new|queued|||\nold||||15d ago\nundated||||"},
    };
    for (const auto& row : rows) {
        writeLedger(row.items);
        EXPECT_EQ(listed(), QString::fromUtf8(row.rows)) << row.items;
    }
    writeFile(paths.capturesFile, "{\"items\": [");
    EXPECT_EQ(listRequests(paths, NOW).trouble, u"the ledger is no JSON object just now"_s);
    QByteArray many;
    for (int i = 0; i < 10'000; ++i)
        many += R"({"prompt": "p", "ts": "2026-11-16T19:30:00Z"},)";
    writeLedger(many + "{}");
    EXPECT_EQ(listRequests(paths, NOW).newest.size(), 200);
    EXPECT_EQ(listRequests(paths, NOW).more, 9'800);
    QFile::remove(paths.capturesFile);
    QDir().mkpath(paths.capturesFile);
    EXPECT_EQ(listRequests(paths, NOW).trouble, u"the ledger cannot be read: is a directory"_s);
}

TEST_F(RequestList, ARouterIsKnownByItsLaunchAndItAloneIsEndedHoweverItTakesIt) {
    for (const bool deaf : {false, true}) {
        const QueueItem asked = item(u"do it"_s);
        const QString file = queueFilePath(paths.queueDir, asked.id);
        // It leaves something running for the user, as an agent may.
        writeProgram(
            paths.routerScript,
            QByteArray("#!/bin/sh\ntrap '") + (deaf ? "" : "echo done > ~/cleaned; exit") +
                "' TERM\necho \"about $1\"\nsetsid sh -c 'echo $$ > ~/left; exec sleep 1000' &\nsleep 1000 &\nwait\n");
        writeLedger(QJsonDocument(asked.ledgerEntry()).toJson());
        ASSERT_TRUE(writeQueueFile(paths.queueDir, asked));
        QProcess editor; // has the file open
        editor.start(u"/bin/sh"_s, {u"-c"_s, u"sleep 1000; :"_s, file});
        ASSERT_TRUE(editor.waitForStarted());
        EXPECT_EQ(listRequests(paths, NOW).newest[0].stateName, u"queued"_s);
        ASSERT_EQ(spawnRouter(file, paths, {}).start, RouterStart::Launched);
        ASSERT_TRUE(waitUntil([&] { return readFile(home + u"/left"_s).endsWith('\n'); }));
        EXPECT_EQ(listRequests(paths, NOW).newest[0].stateName, u"working"_s);
        const auto detail = requestDetail(paths, asked.id, NOW);
        EXPECT_EQ(detail->request.stateName + detail->log, u"workingabout "_s + file);
        EXPECT_EQ(detail->prompt + detail->excerpt, u"do itexcerpt"_s);

        int proven = 0;
        const std::chrono::milliseconds toCleanUp(deaf ? 1 : 60'000);
        EXPECT_FALSE(endRouter(item(u"another"_s).id, [&] { ++proven; }));
        EXPECT_TRUE(endRouter(
            asked.id, [&] { ++proven; }, toCleanUp));
        EXPECT_TRUE(waitUntil([&] { return !runningRouters().contains(asked.id); }));
        EXPECT_FALSE(endRouter(asked.id, [&] { ++proven; }));
        EXPECT_EQ(proven, 1);
        EXPECT_EQ(QFile::remove(home + u"/cleaned"_s), !deaf);
        EXPECT_EQ(listRequests(paths, NOW).newest[0].stateName, u"queued"_s);
        EXPECT_EQ(editor.state(), QProcess::Running);
        const QString left = home + u"/left"_s;
        EXPECT_EQ(::kill(readFile(left).trimmed().toInt(), SIGKILL), 0) << "was left alone";
        QFile::remove(left);
        editor.kill();
        editor.waitForFinished();
    }
}

TEST_F(RequestList, WhatIsRunAgainHasItsWordsAndWhatItsOpeningSawFromWhereverItIs) {
    QueueItem asked = item(u"do it"_s, u"screenshot"_s);
    storeScreenshot(paths.queueDir, asked, {"picture", u"seen"_s});
    ASSERT_TRUE(writeQueueFile(paths.queueDir, asked));
    const auto again = [&] { return storedRequest(paths, asked.id); };
    for (const bool processed : {false, true}) {
        if (processed) {
            QDir(paths.queueDir).mkdir(u"processed"_s);
            for (const QString& name : queued())
                QDir(paths.queueDir).rename(name, u"processed/"_s + name);
        }
        ASSERT_TRUE(again());
        EXPECT_EQ(again()->item.ledgerEntry(), asked.ledgerEntry());
        EXPECT_EQ(again()->shot.png, "picture");
        EXPECT_EQ(again()->shot.text, u"seen"_s);
    }
    QDir(paths.queueDir).removeRecursively();
    EXPECT_FALSE(again());
    writeLedger(QJsonDocument(asked.ledgerEntry()).toJson());
    EXPECT_EQ(again()->item.ledgerEntry(), asked.ledgerEntry());
    EXPECT_FALSE(storedRequest(paths, u"../captures"_s)) << "an id becomes the name of files";
}
