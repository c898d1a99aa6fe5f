#include "route/RoutedRequests.h"

#include "RouteFolder.h"
#include "fakes/FakeDispatch.h"

using namespace ovalin;

namespace {

const QString SHOT = QStringLiteral("c2hvdA=="); // "shot"

struct DoRequest : RouteFolder {
    FakeDispatch dispatch;
    AgentSearch search;
    std::unique_ptr<RoutedRequests> requests;
    const QUuid token = QUuid::createUuid();
    const QUuid laterToken = QUuid::createUuid();
    const QueueItem shown = item(QStringLiteral("shown"), QStringLiteral("screenshot"));
    const QueueItem second = item(QStringLiteral("second"), QStringLiteral("screenshot"));
    QStringList undelivered, missing;

    DoRequest() {
        program(paths.routerScript, "#!/bin/sh\necho ran \"$1\"\n");
        requests = std::make_unique<RoutedRequests>(dispatch, paths, search);
        requests->onUndelivered = [this](const QueueItem& back, const QString& reason) {
            undelivered.append(back.prompt + QLatin1Char('|') + reason);
        };
        requests->onAgentMissing = [this](const QString& message) { missing.append(message); };
    }

    /// How often the router was started, once all that were sent have run.
    qsizetype routed() const {
        const qsizetype sent = log.filter(QStringLiteral("Ovalin: sent ")).size();
        waitUntil([&] { return readFile(paths.routerLog).count('\n') >= sent; });
        return readFile(paths.routerLog).count("ran ");
    }
    bool hasShot(const QueueItem& request) const {
        return queueFile(request.id).contains(QStringLiteral("screenshot"));
    }
};

} // namespace

TEST_F(DoRequest, ARequestThatNeedsNoScreenshotGoesAtOnce) {
    const QueueItem request = item(QStringLiteral("now"));
    requests->submit(request, token);
    EXPECT_EQ(log, QStringList{QStringLiteral("Ovalin: sent ") + request.id});
    EXPECT_EQ(queueFile(request.id), request.queueEntry());
    EXPECT_EQ(ledgerPrompts(), QStringList{QStringLiteral("now")});
    requests->submit(shown, token, {SHOT, QStringLiteral("words")});
    EXPECT_TRUE(hasShot(shown));
    EXPECT_EQ(queueFile(shown.id)[QStringLiteral("screen_text")].toString(), QStringLiteral("words"));
    EXPECT_FALSE(ledger()[QStringLiteral("items")][0].toObject().contains(QStringLiteral("screenshot")));
    EXPECT_EQ(routed(), 2);
}

TEST_F(DoRequest, AWaitingRequestTakesItsOwnScreenshotExactlyOnce) {
    requests->submit(shown, token);
    EXPECT_EQ(ledgerPrompts(), QStringList{QStringLiteral("shown")}) << "recorded at once";
    EXPECT_TRUE(queued().isEmpty());
    requests->applyShotToPendingSubmit(laterToken, SHOT);
    EXPECT_TRUE(requests->waitingItem());
    requests->applyShotToPendingSubmit(token, SHOT, QStringLiteral("seen"));
    EXPECT_FALSE(requests->waitingItem() || requests->waitingToken());
    EXPECT_TRUE(hasShot(shown));
    EXPECT_EQ(queueFile(shown.id)[QStringLiteral("screen_text")].toString(), QStringLiteral("seen"));
    requests->applyShotToPendingSubmit(token, SHOT);
    dispatch.advance(5);
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, AtTheDeadlineItGoesWithout) {
    requests->submit(shown, token);
    dispatch.advance(1.199);
    EXPECT_TRUE(queued().isEmpty());
    dispatch.advance(0.002);
    ASSERT_EQ(queued(), QStringList{shown.id + QStringLiteral(".json")});
    requests->applyShotToPendingSubmit(token, SHOT);
    EXPECT_FALSE(hasShot(shown));
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ASecondRequestSendsTheFirstOnItsWay) {
    requests->submit(shown, token);
    dispatch.advance(1.0);
    requests->submit(second, laterToken);
    EXPECT_EQ(queued(), QStringList{shown.id + QStringLiteral(".json")});
    dispatch.advance(0.5); // the first one's deadline
    EXPECT_EQ(requests->waitingItem()->prompt, second.prompt);
    requests->applyShotToPendingSubmit(token, SHOT);
    EXPECT_TRUE(requests->waitingItem()) << "never a screenshot of another opening";
    requests->applyShotToPendingSubmit(laterToken, SHOT);
    EXPECT_FALSE(hasShot(shown));
    EXPECT_TRUE(hasShot(second));
    dispatch.advance(5);
    EXPECT_EQ(routed(), 2);
    EXPECT_EQ(ledgerPrompts(), (QStringList{QStringLiteral("second"), QStringLiteral("shown")}));
}

TEST_F(DoRequest, TheLedgerKnowsTheRequestBeforeTheRouterDoes) {
    dispatch.runAtOnce = false;
    requests->submit(item(QStringLiteral("now")), token);
    EXPECT_FALSE(QFile::exists(paths.systemDir)) << "nothing is written on the main thread";
    dispatch.runBackgroundAt(0);
    EXPECT_EQ(ledgerPrompts(), QStringList{QStringLiteral("now")});
    EXPECT_TRUE(queued().isEmpty());
    dispatch.runBackground();
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ALedgerThatCannotBeWrittenDoesNotStopTheRequest) {
    QDir().mkpath(paths.queueDir);
    QFile::link(QStringLiteral("captures.json"), paths.capturesFile); // a loop
    requests->submit(item(QStringLiteral("now")), token);
    ASSERT_EQ(log.size(), 2);
    EXPECT_TRUE(log[0].startsWith(QStringLiteral("Ovalin: captures append failed — "))) << log[0].toStdString();
    EXPECT_EQ(routed(), 1);
}

TEST_F(DoRequest, ARequestThatCannotBeQueuedComesBack) {
    writeFile(paths.queueDir, "a file");
    requests->submit(shown, token, {SHOT, {}});
    dispatch.runMain();
    ASSERT_EQ(undelivered.size(), 1);
    EXPECT_TRUE(undelivered[0].startsWith(QStringLiteral("shown|"))) << undelivered[0].toStdString();
    ASSERT_EQ(log.size(), 1);
    EXPECT_TRUE(log[0].startsWith(QStringLiteral("Ovalin: queue write failed — ")));
    EXPECT_EQ(routed(), 0);
}

TEST_F(DoRequest, AMissingAgentIsToldAndTheRequestStaysInTheQueue) {
    QFile::remove(paths.routerScript);
    setShellPath(home + QStringLiteral("/zsh")); // whatever the login shell of this machine knows
    requests->submit(shown, token, {SHOT, {}});
    dispatch.runMain();
    EXPECT_EQ(missing, QStringList{QStringLiteral("Claude Code not found — install it from https://claude.ai/code")});
    EXPECT_EQ(queued(QStringLiteral("*.json")).size(), 1);
}

TEST_F(DoRequest, TheEndOfTheProgramSendsWhatWaits) {
    setLogSink({}); // lines come from another thread here
    {
        QtDispatch real;
        RoutedRequests ending(real, paths, search);
        ending.submit(item(QStringLiteral("now")), token);
        ending.submit(shown, token);
    }
    EXPECT_EQ(queued(QStringLiteral("*.json")).size(), 2);
    EXPECT_TRUE(waitUntil([&] { return readFile(paths.routerLog).count("ran ") == 2; }));
}
