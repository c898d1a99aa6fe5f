#include "capture/ContextPipeline.h"
#include "capture/SelectionWatch.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"

#include <gmock/gmock.h>

using namespace ovalin;
using Kind = AccessibleSelection::Kind;
using testing::ElementsAre;

namespace {

const QByteArray PNG = QByteArrayLiteral("png");
const QString PNG_B64 = QStringLiteral("cG5n");

struct CaptureTest : testing::Test {
    FakeDesktop fake;
    FakeDispatch dispatch;
    LogRecorder log;
    CaptureContext context;
    std::optional<BrowserTab> tab;
    std::optional<QByteArray> png = PNG;
    std::optional<QString> recognised = QStringLiteral("recognised");
    int shotsTaken = 0, picturesRead = 0;
    QStringList shown, owned;
    std::vector<std::pair<QUuid, QString>> handedOver;
    bool panel = true;

    ovalin::Selection selection{fake.accessibility, fake.pasteboard, fake.keyboard, [](std::chrono::milliseconds) {}};
    ContextPipeline pipeline{dispatch, selection,
                             ContextSources{[this](const QString&) { return tab; },
                                            [this](qint32) {
                                                ++shotsTaken;
                                                return png;
                                            },
                                            [this](const QByteArray&) {
                                                ++picturesRead;
                                                return recognised;
                                            }},
                             context};
    SelectionWatch watch{fake.eventMonitors, dispatch, selection, context};

    CaptureTest() {
        context.open(QStringLiteral("Editor"), QStringLiteral("Mousepad"), 42);
        pipeline.updateCaptureUI = [this](const QString& text) {
            context.capText = text;
            shown.append(text);
        };
        watch.updateCaptureUI = pipeline.updateCaptureUI;
        watch.panelExists = [this] { return panel; };
        pipeline.checkSiteOwnership = [this](const QString& url, const QUuid&) { owned.append(url); };
        pipeline.applyShotToPendingSubmit = [this](const QUuid& token, const QString& shot) {
            handedOver.emplace_back(token, shot);
        };
        fake.accessibility.answer = {Kind::Text, QStringLiteral("selected"), false};
    }
    void runAll() {
        for (int i = 0; i < 8; ++i) {
            dispatch.runBackground();
            dispatch.runMain();
        }
    }
};

} // namespace

TEST_F(CaptureTest, ANonBrowserGetsExcerptScreenshotAndItsText) {
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_THAT(shown, ElementsAre(QStringLiteral("selected")));
    EXPECT_EQ(context.capShotB64, PNG_B64);
    EXPECT_EQ(context.capShotText, QStringLiteral("recognised"));
    EXPECT_EQ(context.capURL, std::nullopt);
    EXPECT_EQ(context.capContextMode, QStringLiteral("screenshot"));
    EXPECT_THAT(handedOver, ElementsAre(std::pair(context.captureToken, PNG_B64)));
    EXPECT_FALSE(context.selectionViaClipboard);
}

TEST_F(CaptureTest, OnlyARemotePageIsFetchedInsteadOfPictured) {
    struct Row {
        const char* url;
        bool fetched;
    };
    for (const Row& row : {Row{"https://example.org/a?b#c", true},
                           {"HTTP://example.org", true},
                           {"http://localhost:8080/", false},
                           {"http://LOCALHOST/", false},
                           {"http://127.0.0.1/", false},
                           {"http://printer.local/", false},
                           {"http://192.168.1.4/", false},
                           {"http://172.99.0.1/", false},
                           {"http://localhost.example.org/", true},
                           {"file:///etc/hosts", false},
                           {"about:blank", false},
                           {"not a url", false},
                           {"https:///nohost", false}}) {
        context.open(QStringLiteral("Browser"), QStringLiteral("com.google.Chrome"), 42);
        shotsTaken = 0;
        tab = BrowserTab{QString::fromLatin1(row.url), QStringLiteral("Title")};
        pipeline.startContextPipeline(context.captureToken);
        runAll();
        EXPECT_EQ(context.capURL, QString::fromLatin1(row.url));
        EXPECT_EQ(context.capTitle, QStringLiteral("Title"));
        EXPECT_EQ(context.capContextMode, row.fetched ? QStringLiteral("fetch") : QStringLiteral("screenshot"))
            << row.url;
        EXPECT_EQ(shotsTaken, row.fetched ? 0 : 1) << row.url;
        EXPECT_EQ(context.capShotB64.has_value(), !row.fetched) << row.url;
    }
}

TEST_F(CaptureTest, NothingOfAnOlderOpeningReachesTheNewRecord) {
    dispatch.runAtOnce = false;
    tab = BrowserTab{QStringLiteral("http://localhost/"), QStringLiteral("Old")};
    const QUuid old = context.captureToken;
    pipeline.startContextPipeline(old);
    context.open(QStringLiteral("Other"), QStringLiteral("xterm"), 43);
    runAll();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_TRUE(owned.isEmpty());
    EXPECT_EQ(context.capURL, std::nullopt);
    EXPECT_EQ(context.capShotB64, std::nullopt);
    EXPECT_EQ(context.capShotText, std::nullopt);
    EXPECT_THAT(handedOver, ElementsAre(std::pair(old, PNG_B64))) << "a waiting request may still want it";
}

TEST_F(CaptureTest, NoPictureOfAnOlderOpeningIsReadOnceANewerBegan) {
    dispatch.runAtOnce = false;
    pipeline.startContextPipeline(context.captureToken);
    for (int i = 0; i < 2; ++i) { // page, then picture: its reading waits for a worker now
        dispatch.runBackground();
        dispatch.runMain();
    }
    ASSERT_EQ(dispatch.waiting(), 1u);
    context.open(QStringLiteral("Other"), QStringLiteral("xterm"), 43);
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_EQ(picturesRead, 1);
    EXPECT_EQ(context.capShotText, QStringLiteral("recognised"));
}

TEST_F(CaptureTest, AFailedSourceLeavesItsFieldAbsent) {
    png = std::nullopt;
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_EQ(context.capShotB64, std::nullopt);
    EXPECT_TRUE(handedOver.empty());
    png = PNG;
    recognised = std::nullopt;
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_EQ(context.capShotB64, PNG_B64);
    EXPECT_EQ(context.capShotText, std::nullopt);
}

TEST_F(CaptureTest, TheRecordKnowsWhetherTheClipboardWasUsed) {
    fake.accessibility.answer = {};
    fake.keyboard.onCopy = [this] {
        fake.pasteboard.clipboard = QStringLiteral("by copy");
        ++fake.pasteboard.changes;
    };
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_TRUE(context.selectionViaClipboard);
    EXPECT_EQ(context.capText, QStringLiteral("by copy"));
    fake.keyboard.onCopy = {};
    pipeline.startContextPipeline(context.captureToken);
    runAll();
    EXPECT_FALSE(context.selectionViaClipboard);
    EXPECT_EQ(shown.last(), QString());
}

TEST_F(CaptureTest, OnlyTheKeysThatSelectTriggerARefresh) {
    using Key = EventMonitors::Key;
    EXPECT_TRUE(changesSelection({Key::Arrow, true, false}));
    EXPECT_TRUE(changesSelection({Key::A, false, true}));
    EXPECT_FALSE(changesSelection({Key::Arrow, false, true}));
    EXPECT_FALSE(changesSelection({Key::A, true, false}));
    EXPECT_FALSE(changesSelection({Key::Other, true, true}));
}

TEST_F(CaptureTest, ARefreshWaitsRunsOnceAndNeverClears) {
    dispatch.runAtOnce = false;
    watch.startSelectionWatch(context.captureToken);
    fake.eventMonitors.mouseUp();
    fake.eventMonitors.mouseUp();
    dispatch.advance(0.17);
    EXPECT_EQ(dispatch.waiting(), 0u);
    dispatch.advance(0.02);
    EXPECT_EQ(dispatch.waiting(), 1u);
    fake.eventMonitors.mouseUp();
    runAll();
    dispatch.advance(1);
    EXPECT_EQ(dispatch.waiting(), 0u) << "a trigger during the read is dropped";
    EXPECT_THAT(shown, ElementsAre(QStringLiteral("selected")));

    fake.accessibility.answer = {};
    fake.eventMonitors.keyUp({EventMonitors::Key::A, false, true});
    dispatch.advance(0.2);
    runAll();
    EXPECT_THAT(shown, ElementsAre(QStringLiteral("selected")));
    EXPECT_EQ(fake.keyboard.copies, 0) << "no synthetic copy where the first capture needed none";

    context.capBundle = QStringLiteral("com.google.Chrome");
    fake.eventMonitors.mouseUp();
    dispatch.advance(0.2);
    runAll();
    EXPECT_EQ(fake.keyboard.copies, 1);
}

TEST_F(CaptureTest, ALateRefreshOfAnOlderOpeningOnlyFreesTheWay) {
    dispatch.runAtOnce = false;
    watch.startSelectionWatch(context.captureToken);
    fake.eventMonitors.mouseUp();
    dispatch.advance(0.2);
    context.open(QStringLiteral("Other"), QStringLiteral("xterm"), 43);
    watch.startSelectionWatch(context.captureToken);
    EXPECT_EQ(fake.eventMonitors.mouse.size(), 1u);
    fake.eventMonitors.mouseUp();
    runAll();
    EXPECT_TRUE(shown.isEmpty());
    fake.eventMonitors.mouseUp();
    dispatch.advance(0.2);
    runAll();
    EXPECT_THAT(shown, ElementsAre(QStringLiteral("selected")));
    panel = false;
    fake.eventMonitors.mouseUp();
    dispatch.advance(0.2);
    EXPECT_EQ(dispatch.waiting(), 0u);
    watch.stopSelectionWatch();
    EXPECT_TRUE(fake.eventMonitors.mouse.empty() && fake.eventMonitors.keys.empty());
}
