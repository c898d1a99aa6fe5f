#include "route/RoutedRequests.h"

#include "RouteFolder.h"
#include "fakes/FakeDispatch.h"
#include "route/CapturesLedger.h"
#include "route/Router.h"

namespace {

const QByteArray SHOT = QByteArrayLiteral("shot");

struct DoRequest : RouteFolder {
    FakeDispatch dispatch;
    AgentSearch search;
    std::unique_ptr<RoutedRequests> requests;
    const QUuid token = QUuid::createUuid();
    const QUuid laterToken = QUuid::createUuid();
    const QueueItem shown = item(u"shown"_s, u"screenshot"_s);
    const QueueItem second = item(u"second"_s, u"screenshot"_s);
    QList<RequestNews> news;

    DoRequest() {
        writeProgram(paths.routerScript, "#!/bin/sh\necho ran \"$1\"\n");
        requests = std::make_unique<RoutedRequests>(dispatch, paths, search);
        requests->onNews = [this](const RequestNews& told) { news.append(told); };
    }

    /// How often the router was started, once all that were sent have run.
    qsizetype routed() const {
        const qsizetype sent = log.count(u"Ovalin: sent "_s);
        waitUntil([&] { return readFile(paths.routerLog).count('\n') >= sent; });
        return readFile(paths.routerLog).count("ran ");
    }
    bool waitForNews() {
        return waitUntil([this] {
            dispatch.advance(0.3);
            return !news.isEmpty();
        });
    }
    void startAgain() {
        dispatch.wall = dispatch.wall.addSecs(3600);
        requests = std::make_unique<RoutedRequests>(dispatch, paths, search);
        requests->onNews = [this](const RequestNews& told) { news.append(told); };
        requests->takeUp();
        dispatch.runMain();
    }
    QStringList keptFiles() const {
        QStringList files;
        for (const QString& place : undeliveredFolders(paths.systemDir, paths.runtimeDir)) {
            for (const QFileInfo& file : QDir(place).entryInfoList(QDir::Files))
                files.append(file.filePath());
        }
        return files;
    }
    bool hasShot(const QueueItem& request) const { return queueFile(request.id).contains(u"screenshot"_s); }
};

} // namespace

TEST_F(DoRequest, ARequestThatNeedsNoScreenshotGoesAtOnce) {
    const QueueItem request = item(u"now"_s);
    requests->submit(request, token);
    EXPECT_EQ(log.lines, QStringList{u"Ovalin: sent "_s + request.id});
    EXPECT_EQ(queueFile(request.id), request.queueEntry());
    EXPECT_EQ(ledgerPrompts(), QStringList{u"now"_s});
    requests->submit(shown, token, {SHOT, u"words"_s});
    EXPECT_TRUE(hasShot(shown));
    EXPECT_EQ(queueFile(shown.id)[u"screen_text"_s].toString(), u"words"_s);
    EXPECT_FALSE(ledger()[u"items"_s][0].toObject().contains(u"screenshot"_s));
    EXPECT_EQ(routed(), 2);
}

TEST_F(DoRequest, AWaitingRequestTakesItsOwnScreenshotExactlyOnce) {
    requests->submit(shown, token);
    EXPECT_EQ(ledgerPrompts(), QStringList{u"shown"_s}) << "recorded at once";
    EXPECT_TRUE(queued().isEmpty());
    requests->applyShotToPendingSubmit(laterToken, SHOT);
    EXPECT_TRUE(requests->waitingItem());
    requests->applyShotToPendingSubmit(token, SHOT, u"seen"_s);
    EXPECT_FALSE(requests->waitingItem() || requests->waitingToken());
    EXPECT_TRUE(hasShot(shown));
    EXPECT_EQ(queueFile(shown.id)[u"screen_text"_s].toString(), u"seen"_s);
    requests->applyShotToPendingSubmit(token, SHOT);
    dispatch.advance(5);
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, AtTheDeadlineItGoesWithout) {
    requests->submit(shown, token);
    dispatch.advance(1.199);
    EXPECT_TRUE(queued().isEmpty());
    dispatch.advance(0.002);
    ASSERT_EQ(queued(), QStringList{shown.id + u".json"_s});
    requests->applyShotToPendingSubmit(token, SHOT);
    EXPECT_FALSE(hasShot(shown));
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ASecondRequestSendsTheFirstOnItsWay) {
    requests->submit(shown, token);
    dispatch.advance(1.0);
    requests->submit(second, laterToken);
    EXPECT_EQ(queued(), QStringList{shown.id + u".json"_s});
    dispatch.advance(0.5); // the first one's deadline
    EXPECT_EQ(requests->waitingItem()->prompt, second.prompt);
    requests->applyShotToPendingSubmit(token, SHOT);
    EXPECT_TRUE(requests->waitingItem()) << "never a screenshot of another opening";
    requests->applyShotToPendingSubmit(laterToken, SHOT);
    EXPECT_FALSE(hasShot(shown));
    EXPECT_TRUE(hasShot(second));
    dispatch.advance(5);
    EXPECT_EQ(routed(), 2);
    EXPECT_EQ(ledgerPrompts(), (QStringList{u"second"_s, u"shown"_s}));
}

TEST_F(DoRequest, TheLedgerKnowsTheRequestBeforeTheRouterDoes) {
    dispatch.runAtOnce = false;
    requests->submit(item(u"now"_s), token);
    EXPECT_FALSE(QFile::exists(paths.systemDir)) << "nothing is written on the main thread";
    dispatch.runBackgroundAt(0);
    EXPECT_EQ(ledgerPrompts(), QStringList{u"now"_s});
    EXPECT_TRUE(queued().isEmpty());
    dispatch.runBackground();
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ALedgerThatCannotBeWrittenDoesNotStopTheRequest) {
    QDir().mkpath(paths.capturesFile);
    requests->submit(item(u"now"_s), token);
    EXPECT_EQ(log.count(u"Ovalin: captures append failed — "_s), 1) << log.all();
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ARequestThatCannotBeQueuedComesBackWithAllThatBelongsToIt) {
    writeFile(paths.queueDir, "a file");
    const auto refuse = [this](const QueueItem& request) {
        requests->submit(request, token, {SHOT, u"seen"_s});
        dispatch.runMain();
    };
    refuse(shown);
    QueueItem earlier = second;
    earlier.id = requestId(dispatch.wall.addSecs(-60), 1);
    refuse(earlier);
    ASSERT_EQ(requests->undelivered().size(), 2);
    EXPECT_EQ(requests->undelivered()[0].item.prompt, earlier.prompt) << "the oldest first";
    EXPECT_EQ(log.count(u"Ovalin: queue write failed — "_s), 2);
    ASSERT_EQ(news.size(), 2);
    EXPECT_EQ(news[0].body, u"Not a directory: “shown” is kept, and stands in the panel when you open it."_s);

    // A restart keeps them, in the runtime folder when the home takes nothing.
    requests = std::make_unique<RoutedRequests>(dispatch, paths, search);
    requests->takeUp();
    dispatch.runMain();
    ASSERT_EQ(requests->undelivered().size(), 2);
    EXPECT_EQ(routed(), 0) << "an entry in the ledger is no second request";
    for (const QString& name : keptFiles())
        EXPECT_EQ(QFile::permissions(name) & 0x077, QFile::Permissions()) << name.toStdString();

    QFile::remove(paths.queueDir);
    auto again = requests->takeUndelivered(shown.id);
    ASSERT_TRUE(again);
    again->item.prompt = u"shown, corrected"_s;
    requests->resubmit(*again, {});
    dispatch.runMain();
    const QJsonObject sent = queueFile(shown.id);
    EXPECT_EQ(sent[u"prompt"_s].toString(), u"shown, corrected"_s);
    EXPECT_EQ(sent[u"source_app"_s].toString(), u"Text Editor"_s);
    EXPECT_EQ(sent[u"screen_text"_s].toString(), u"seen"_s);
    EXPECT_TRUE(hasShot(shown));
    requests->drop(*requests->takeUndelivered(earlier.id));
    EXPECT_EQ(ledgerPrompts(), QStringList{u"shown, corrected"_s}) << "once, as it was sent";
    EXPECT_TRUE(keptFiles().isEmpty());
}

TEST_F(DoRequest, OnlyWhatIsTrueIsPromised) {
    writeFile(paths.queueDir, "a file");
    for (const QString& place : undeliveredFolders(paths.systemDir, paths.runtimeDir))
        writeFile(place, "a file");
    requests->submit(shown, token, {SHOT, {}});
    dispatch.runMain();
    EXPECT_EQ(requests->undelivered().size(), 1);
    EXPECT_TRUE(news.at(0).body.contains(u"lost when Ovalin ends"_s)) << news.at(0).body.toStdString();
    QFile::remove(undeliveredFolders(paths.systemDir, paths.runtimeDir).last());
    startAgain();
    EXPECT_EQ(requests->undelivered().size(), 1) << "there was room at the end";
}

TEST_F(DoRequest, AMissingAgentIsToldAndTheRequestStaysInTheQueueForTheNextStart) {
    QFile::remove(paths.routerScript);
    setShellPath(home + u"/zsh"_s); // whatever the login shell of this machine knows
    requests->submit(shown, token, {SHOT, {}});
    dispatch.runMain();
    ASSERT_EQ(news.size(), 1);
    EXPECT_EQ(news[0].hint, u"Claude Code not found — install it from https://claude.ai/code"_s);
    EXPECT_EQ(queued(u"*.json"_s).size(), 1);
    setShellPath(u"/bin/zsh"_s);
    writeProgram(paths.routerScript, "#!/bin/sh\necho ran \"$1\"\n");
    startAgain();
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, WhatAnEarlierRunBeganIsToldByNameAndWhatIsTooMuchByNumber) {
    for (int i = 0; i < 25; ++i) {
        const QueueItem earlier = item(u"request %1"_s.arg(i));
        ASSERT_TRUE(appendToCaptures(paths.capturesFile, earlier));
        if (i < 2)
            writeFile(routerMark(queueFilePath(paths.queueDir, earlier.id)), {});
    }
    startAgain();
    ASSERT_EQ(news.size(), 2);
    EXPECT_TRUE(news[0].body.startsWith(u"“request 0”, “request 1”: begun when"_s)) << news[0].body.toStdString();
    EXPECT_TRUE(news[1].body.startsWith(u"3 of earlier days"_s)) << news[1].body.toStdString();
    EXPECT_EQ(routed(), 20);
}

TEST_F(DoRequest, WhatTheScriptSaysOfAMissingAgentIsTheNextOpeningsHint) {
    writeProgram(
        paths.routerScript,
        "#!/bin/sh\nsed -i 's/\"queued\"/\"needs attention\", \"result\": {\"summary\": \"Claude Code not found — "
        "install it\"}/' ~/CLAUDE/system/captures.json\n");
    requests->submit(item(u"now"_s), token);
    ASSERT_TRUE(waitForNews());
    EXPECT_EQ(news[0].hint, u"Claude Code not found — install it from https://claude.ai/code"_s);
    EXPECT_EQ(news[0].title, QString()) << "the script has notified";
}

TEST_F(DoRequest, AnAgentThatEndsWithoutAWordIsNotQueuedForEver) {
    QFile::remove(paths.routerScript);
    search.candidates = {home + u"/claude"_s};
    const struct {
        const char *prints, *told;
    } rows[] = {{"sleep 0.2\necho working; echo 'API Error: 401 not signed in'; exit 1\n",
                 "the agent ended: API Error: 401 not signed in"},
                {"sleep 0.2\n", "the agent ended without saying what it did"}};
    for (const auto& row : rows) {
        writeProgram(search.candidates.first(), QByteArray("#!/bin/sh\n") + row.prints);
        requests = std::make_unique<RoutedRequests>(dispatch, paths, search);
        requests->onNews = [this](const RequestNews& told) { news.append(told); };
        requests->submit(item(u"now"_s), token);
        ASSERT_TRUE(waitForNews());
        const QJsonObject entry = ledger()[u"items"_s][0].toObject();
        EXPECT_EQ(entry[u"status"_s].toString(), NEEDS_ATTENTION);
        EXPECT_EQ(entry[u"result"_s][u"summary"_s].toString(), QLatin1String(row.told));
        EXPECT_TRUE(news[0].body.startsWith(u"“now”: "_s)) << news[0].body.toStdString();
        news.clear();
    }
}
