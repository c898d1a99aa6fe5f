#include "capture/Captured.h"
#include "capture/SelectionWatch.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"

using Kind = AccessibleSelection::Kind;
using testing::ElementsAre;

namespace {

const QByteArray PNG = QByteArrayLiteral("png");

struct CaptureTest : testing::Test {
    FakeDesktop fake;
    FakeDispatch dispatch;
    LogRecorder log;
    std::optional<BrowserTab> tab;
    std::optional<QByteArray> png = PNG;
    std::optional<QString> recognised = u"recognised"_s;
    int shotsTaken = 0, picturesRead = 0;
    QStringList shown, owned;
    std::vector<std::pair<QUuid, QByteArray>> handedOver;

    ovalin::Selection selection{fake.accessibility, fake.pasteboard, fake.keyboard, [](std::chrono::milliseconds) {}};
    std::unique_ptr<Captured> captured;
    std::optional<SelectionWatch> watch;

    CaptureTest() {
        open();
        fake.accessibility.answer = {Kind::Text, u"selected"_s, false};
    }
    /// Another opening.
    CaptureContext& open(const QString& bundle = u"Mousepad"_s) {
        watch.reset();
        captured = std::make_unique<Captured>(dispatch, selection,
                                              ContextSources{[this](const QString&) { return tab; },
                                                             [this](qint32) {
                                                                 ++shotsTaken;
                                                                 return png;
                                                             },
                                                             [this](const QByteArray&) {
                                                                 ++picturesRead;
                                                                 return recognised;
                                                             }});
        CaptureContext& context = captured->context;
        context.capBundle = bundle;
        context.capPID = 42;
        captured->pipeline.updateCaptureUI = [this, &context](const QString& text) {
            context.capText = text;
            shown.append(text);
        };
        captured->pipeline.checkSiteOwnership = [this](const QString& url) { owned.append(url); };
        captured->pipeline.applyShotToPendingSubmit = [this](const QUuid& token, const QByteArray& shot) {
            handedOver.emplace_back(token, shot);
        };
        return context;
    }
    void startWatch() {
        watch.emplace(fake.selectionHints, dispatch, selection, captured->context);
        watch->updateCaptureUI = captured->pipeline.updateCaptureUI;
    }
};

} // namespace

TEST_F(CaptureTest, ANonBrowserGetsExcerptScreenshotAndItsText) {
    const CaptureContext& context = captured->context;
    fake.accessibility.answer.window = {9};
    captured->pipeline.startContextPipeline();
    dispatch.settle();
    EXPECT_THAT(shown, ElementsAre(u"selected"_s));
    EXPECT_EQ(context.capTextWindow, WindowId{9});
    EXPECT_EQ(context.capShot, PNG);
    EXPECT_EQ(context.capShotText, u"recognised"_s);
    EXPECT_EQ(context.capURL, std::nullopt);
    EXPECT_EQ(context.capContextMode, u"screenshot"_s);
    EXPECT_THAT(handedOver, ElementsAre(std::pair(context.captureToken, PNG)));
    EXPECT_FALSE(context.selectionViaClipboard);
}

TEST_F(CaptureTest, TheSelectionIsAskedForOnceAndACopyIsSentOnlyWhileThePanelIsThere) {
    for (const bool closed : {false, true}) {
        open();
        fake.accessibility.answer = {};
        fake.accessibility.asked = 0;
        fake.keyboard.copies = 0;
        captured->pipeline.startSelectionTask(); // before the panel
        captured->pipeline.startContextPipeline();
        dispatch.runBackground();
        EXPECT_EQ(fake.keyboard.copies, 0);
        if (closed)
            captured->pipeline.closing();
        dispatch.settle();
        EXPECT_EQ(fake.keyboard.copies, closed ? 0 : 1);
        EXPECT_EQ(fake.accessibility.asked, 1);
    }
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
                           {"http://127.0.0.2/", true},
                           {"http://printer.Local/", false},
                           {"http://local/", true},
                           {"http://192.168.1.4/", false},
                           {"http://192.169.1.4/", true},
                           {"http://10.0.0.1/", false},
                           {"http://a.10.b/", true},
                           {"http://172.99.0.1/", false},
                           {"http://localhost.example.org/", true},
                           {"httpx://example.org/", false},
                           {"file:///etc/hosts", false},
                           {"about:blank", false},
                           {"not a url", false},
                           {"http://[::1", false},
                           {"https:///nohost", false}}) {
        const CaptureContext& context = open(u"com.google.Chrome"_s);
        shotsTaken = 0;
        tab = BrowserTab{QString::fromLatin1(row.url), u"Title"_s};
        captured->pipeline.startContextPipeline();
        dispatch.settle();
        EXPECT_EQ(context.capURL, QString::fromLatin1(row.url));
        EXPECT_EQ(context.capTitle, u"Title"_s);
        EXPECT_EQ(context.capContextMode, row.fetched ? u"fetch"_s : u"screenshot"_s) << row.url;
        EXPECT_EQ(shotsTaken, row.fetched ? 0 : 1) << row.url;
        EXPECT_EQ(context.capShot.has_value(), !row.fetched) << row.url;
    }
}

TEST_F(CaptureTest, WhenThePanelHasClosedARequestStillGetsItsPictureWhichNobodyReads) {
    for (const bool reading : {false, true}) { // when it closes, the reading waits for a worker
        open();
        handedOver.clear();
        dispatch.runAtOnce = false;
        captured->pipeline.startContextPipeline();
        for (int i = 0; reading && i < 2; ++i) { // page, then picture
            dispatch.runBackground();
            dispatch.runMain();
        }
        captured->pipeline.closing();
        dispatch.settle();
        EXPECT_THAT(handedOver, ElementsAre(std::pair(captured->context.captureToken, PNG)));
        EXPECT_EQ(picturesRead, 0);
        EXPECT_EQ(captured->context.capShotText, std::nullopt);
    }
}

TEST_F(CaptureTest, AFailedSourceLeavesItsFieldAbsent) {
    const CaptureContext& context = captured->context;
    png = std::nullopt;
    captured->pipeline.startContextPipeline();
    dispatch.settle();
    EXPECT_EQ(context.capShot, std::nullopt);
    EXPECT_TRUE(handedOver.empty());
    png = PNG;
    recognised = std::nullopt;
    open();
    captured->pipeline.startContextPipeline();
    dispatch.settle();
    EXPECT_EQ(captured->context.capShot, PNG);
    EXPECT_EQ(captured->context.capShotText, std::nullopt);
}

TEST_F(CaptureTest, TheRecordKnowsWhetherTheClipboardWasUsed) {
    const CaptureContext& context = captured->context;
    fake.accessibility.answer = {};
    fake.keyboard.onCopy = [this] {
        fake.pasteboard.clipboard = u"by copy"_s;
        ++fake.pasteboard.changes;
    };
    captured->pipeline.startContextPipeline();
    dispatch.settle();
    EXPECT_TRUE(context.selectionViaClipboard);
    EXPECT_EQ(context.capText, u"by copy"_s);
    fake.keyboard.onCopy = {};
    open().selectionViaClipboard = true;
    captured->pipeline.startContextPipeline();
    dispatch.settle();
    EXPECT_FALSE(captured->context.selectionViaClipboard);
    EXPECT_EQ(shown.last(), QString());
}

TEST_F(CaptureTest, ARefreshWaitsRunsOnceAndNeverClears) {
    dispatch.runAtOnce = false;
    startWatch();
    fake.selectionHints.give();
    fake.selectionHints.give();
    dispatch.advance(0.17);
    EXPECT_EQ(dispatch.waiting(), 0u);
    dispatch.advance(0.02);
    EXPECT_EQ(dispatch.waiting(), 1u);
    fake.selectionHints.give();
    dispatch.settle();
    dispatch.advance(1);
    EXPECT_EQ(dispatch.waiting(), 0u) << "a trigger during the read is dropped";
    EXPECT_THAT(shown, ElementsAre(u"selected"_s));

    fake.accessibility.answer = {};
    fake.selectionHints.give();
    dispatch.advance(0.2);
    dispatch.settle();
    EXPECT_THAT(shown, ElementsAre(u"selected"_s));
    EXPECT_EQ(fake.keyboard.copies, 0) << "no synthetic copy where the first capture needed none";

    captured->context.capBundle = u"com.google.Chrome"_s;
    fake.selectionHints.give();
    dispatch.advance(0.2);
    dispatch.settle();
    EXPECT_EQ(fake.keyboard.copies, 1);
}

TEST_F(CaptureTest, ALateRefreshOfAnOlderOpeningIsDropped) {
    dispatch.runAtOnce = false;
    startWatch();
    fake.selectionHints.give();
    dispatch.advance(0.2);
    open();
    dispatch.settle();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_TRUE(fake.selectionHints.told.empty());
}
