#include "app/AppDelegate.h"

#include "app/ReplaceButton.h"
#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"
#include "fakes/FakeSpeech.h"
#include "support/PanelParts.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <gmock/gmock.h>

using namespace ovalin;
using Kind = AccessibleSelection::Kind;

namespace {

/// The whole controller over a desktop that records, with a HOME of its own and a clock that stands still.
struct AppDelegateTest : testing::Test {
    QTemporaryDir home;
    FakeDesktop fake;
    FakeDispatch dispatch;
    LogRecorder log;
    Paths paths = Paths::under(home.path());
    std::optional<BrowserTab> tab;
    std::optional<QByteArray> png = QByteArrayLiteral("png");
    bool siteIsOwned = false;
    std::unique_ptr<AppDelegate> delegate;

    AppDelegateTest() {
        paths.heartbeatFile = home.filePath(QStringLiteral("heartbeat"));
        paths.runtimeDir = home.filePath(QStringLiteral("run"));
        fake.accessibility.answer = {Kind::Text, QStringLiteral("the excerpt"), false};
        // The router is a script, so that no test looks for an agent on this machine.
        writeFile(paths.routerScript, "#!/bin/sh\n");
        QFile::setPermissions(paths.routerScript, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        UserDefaults().set(QStringLiteral("ovalinHowtoSeen"));
        restart();
    }
    void restart() {
        delegate.reset();
        delegate = std::make_unique<AppDelegate>(
            fake.desktop, dispatch, paths,
            ContextSources{[this](const QString&) { return tab; }, [this](qint32) { return png; },
                           [](const QByteArray&) { return std::optional<QString>(); }},
            [this](const QString&) { return siteIsOwned; });
    }
    void open() {
        dispatch.advance(1);
        delegate->toggle();
        ASSERT_NE(delegate->currentPanel(), nullptr);
    }
    void settle() {
        for (int i = 0; i < 10; ++i) {
            dispatch.runBackground();
            dispatch.runMain();
        }
    }
    static void writeProgram(const QString& path, const QByteArray& text) {
        writeFile(path, text);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    PanelParts panel() { return PanelParts(*delegate->currentPanel()); }
    void typePrompt(const QString& text) {
        for (const QChar letter : text)
            QTest::sendKeyEvent(QTest::Click, panel().promptField, Qt::Key_unknown, QString(letter), Qt::NoModifier);
    }
    [[nodiscard]] QStringList queueFiles() const {
        return QDir(paths.queueDir).entryList({QStringLiteral("*.json")}, QDir::Files);
    }
    [[nodiscard]] QJsonObject queued(int index = 0) const {
        return QJsonDocument::fromJson(readFile(paths.queueDir + QLatin1Char('/') + queueFiles().value(index)))
            .object();
    }
    [[nodiscard]] QJsonArray ledger() const {
        return QJsonDocument::fromJson(readFile(paths.capturesFile)).object().value(QStringLiteral("items")).toArray();
    }
};

} // namespace

TEST_F(AppDelegateTest, ARequestTravelsFromTheHotkeyToTheQueue) {
    open();
    EXPECT_TRUE(fake.keyboardHold.held());
    EXPECT_TRUE(fake.primaryGuard.active);
    settle();
    EXPECT_EQ(panel().previewView->excerpt(), QStringLiteral("the excerpt"));
    EXPECT_EQ(panel().replaceBtnRef->text(), QStringLiteral("Replace"));
    EXPECT_EQ(panel().promptField->placeholderText(), QStringLiteral("What should Torvi do with this?"));
    typePrompt(QStringLiteral("  send this to Ann  "));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    QTest::keyClick(panel().promptField, Qt::Key_Return); // while the disk works
    EXPECT_EQ(ledger().size(), 1) << "on the disk before the panel goes";
    dispatch.runMain();
    EXPECT_EQ(delegate->currentPanel(), nullptr);
    EXPECT_FALSE(fake.keyboardHold.held());
    EXPECT_FALSE(fake.primaryGuard.active);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    const QJsonObject item = queued();
    EXPECT_EQ(item.value(QStringLiteral("prompt")), QStringLiteral("send this to Ann"));
    EXPECT_EQ(item.value(QStringLiteral("text")), QStringLiteral("the excerpt"));
    EXPECT_EQ(item.value(QStringLiteral("source_bundle")), QStringLiteral("Mousepad"));
    EXPECT_EQ(item.value(QStringLiteral("context_mode")), QStringLiteral("screenshot"));
    EXPECT_TRUE(item.contains(QStringLiteral("screenshot")));
    ASSERT_EQ(ledger().size(), 1);
    EXPECT_EQ(ledger().first().toObject().value(QStringLiteral("id")), item.value(QStringLiteral("id")));
}

TEST_F(AppDelegateTest, TheHotkeyTogglesAndAnUnknownFrontIsNoObstacle) {
    open();
    dispatch.advance(0.1);
    delegate->toggle();
    EXPECT_NE(delegate->currentPanel(), nullptr) << "too soon after the first press";
    dispatch.advance(0.3);
    delegate->toggle();
    EXPECT_EQ(delegate->currentPanel(), nullptr);
    fake.workspace.front.reset();
    open();
    EXPECT_EQ(delegate->capture().capApp, QStringLiteral("Unknown"));
    EXPECT_EQ(delegate->capture().capBundle, QString());
    EXPECT_EQ(delegate->capture().capPID, 0);
}

TEST_F(AppDelegateTest, OverAWindowThatCannotBeSeenNothingOfOthersIsTaken) {
    fake.workspace.front.reset();
    fake.workspace.seesAll = false;
    open();
    settle();
    EXPECT_EQ(delegate->capture().capApp, QStringLiteral("Unknown"));
    EXPECT_TRUE(panel().hintField->status().contains(QStringLiteral("not an X11 one")));
    EXPECT_EQ(fake.accessibility.asked, 0);
    typePrompt(QStringLiteral("note this"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    dispatch.advance(2);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_FALSE(queued().contains(QStringLiteral("screenshot"))) << "not the whole display either";
    EXPECT_EQ(queued().value(QStringLiteral("text")).toString(), QString());
}

TEST_F(AppDelegateTest, NothingAskedAndNothingSelectedWritesNothing) {
    fake.accessibility.answer = {};
    open();
    settle();
    EXPECT_TRUE(panel().emptyNoteRef->isVisible());
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    EXPECT_EQ(delegate->currentPanel(), nullptr);
    EXPECT_TRUE(queueFiles().isEmpty());
    EXPECT_TRUE(ledger().isEmpty());
}

TEST_F(AppDelegateTest, AnExcerptThatTheUserEmptiedIsSentAsEmpty) {
    open();
    settle();
    panel().previewView->selectAll();
    QTest::keyClick(panel().previewView, Qt::Key_Delete);
    typePrompt(QStringLiteral("note this"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(queued().value(QStringLiteral("text")).toString(), QString());
}

TEST_F(AppDelegateTest, AnExcerptThatIsReadAfterSubmitFindsItsRequestAndItsScreenshot) {
    dispatch.runAtOnce = false;
    open();
    typePrompt(QStringLiteral("note this"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    dispatch.advance(0.099);
    EXPECT_NE(delegate->currentPanel(), nullptr);
    dispatch.advance(0.002);
    EXPECT_EQ(delegate->currentPanel(), nullptr) << "neither the application nor the disk is waited for any longer";
    EXPECT_EQ(log.count(QStringLiteral("Ovalin: the request is not on the disk after 100 ms")), 1);
    // The next opening takes over the record before anything of the first has come back.
    open();
    settle();
    delegate->closePanel();
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(queued().value(QStringLiteral("text")), QStringLiteral("the excerpt"));
    EXPECT_TRUE(queued().contains(QStringLiteral("screenshot")));
}

TEST_F(AppDelegateTest, EveryRequestIsFinalisedExactlyOnceWithItsOwnScreenshotOrNone) {
    png.reset();
    open();
    settle();
    typePrompt(QStringLiteral("first"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    EXPECT_TRUE(queueFiles().isEmpty()) << "waits for its screenshot";
    open();
    png = QByteArrayLiteral("of the second opening");
    settle();
    typePrompt(QStringLiteral("second"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    dispatch.advance(5);
    settle();
    ASSERT_EQ(queueFiles().size(), 2);
    for (int i = 0; i < 2; ++i)
        EXPECT_FALSE(queued(i).value(QStringLiteral("prompt")) == QStringLiteral("first") &&
                     queued(i).contains(QStringLiteral("screenshot")));
}

TEST_F(AppDelegateTest, AnInstructionThatCannotBeWrittenComesBack) {
    writeFile(home.filePath(QStringLiteral("CLAUDE")), "a file where the folder should be");
    open();
    settle();
    typePrompt(QStringLiteral("send this whatever happens"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    dispatch.advance(2);
    settle();
    EXPECT_GE(log.count(QStringLiteral("Ovalin: queue write failed — ")), 1)
        << log.lines.join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(fake.notifier.shown.size(), 1u);
    EXPECT_TRUE(
        fake.notifier.shown[0].body.startsWith(QStringLiteral("Not a directory: “send this whatever happens”")));
    const QString app = std::exchange(fake.workspace.front->name, QStringLiteral("Another"));
    for (int opening = 0; opening < 2; ++opening) {
        open();
        EXPECT_EQ(panel().promptField->text(), QStringLiteral("send this whatever happens")) << "each time";
        EXPECT_TRUE(panel().hintField->status().startsWith(QStringLiteral("not a directory — not sent yet")))
            << panel().hintField->status().toStdString();
        if (opening == 0)
            delegate->closePanel();
    }
    typePrompt(QStringLiteral(" what? "));
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Submit")) << "it is a request, whatever its wording";
    QFile::remove(home.filePath(QStringLiteral("CLAUDE")));
    fake.accessibility.answer = {Kind::Text, QStringLiteral("of the later opening"), false};
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(queued().value(QStringLiteral("prompt")), QStringLiteral("send this whatever happens what?"));
    EXPECT_EQ(queued().value(QStringLiteral("text")), QStringLiteral("the excerpt"));
    EXPECT_EQ(queued().value(QStringLiteral("source_app")), app);
    EXPECT_TRUE(queued().contains(QStringLiteral("screenshot")));
    open();
    EXPECT_EQ(panel().promptField->text(), QString()) << "until it is sent";
}

TEST_F(AppDelegateTest, WhatCouldNotBeSentIsDroppedOrPutOffByTheUserAlone) {
    writeFile(home.filePath(QStringLiteral("CLAUDE")), "a file where the folder should be");
    const auto replaceAllBy = [this](const char* words) {
        panel().promptField->selectAll();
        typePrompt(QLatin1String(words));
    };
    for (const char* words : {"first", "second"}) {
        open();
        settle();
        replaceAllBy(words); // over the first one, when that has come back
        QTest::keyClick(panel().promptField, Qt::Key_Return);
        settle();
    }
    open();
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("first")) << "put off, and the oldest";
    EXPECT_TRUE(panel().hintField->status().contains(QStringLiteral("(1 of 2)")));
    panel().promptField->selectAll();
    QTest::keyClick(panel().promptField, Qt::Key_Delete);
    QTest::keyClick(panel().promptField, Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("first")) << "as words for another request";
    delegate->closePanel();
    restart();
    delegate->applicationDidFinishLaunching();
    settle();
    open();
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("second")) << "after a restart";
}

TEST_F(AppDelegateTest, UpBringsBackWhatStoodInThePromptHoweverItWasClosed) {
    open();
    settle();
    typePrompt(QStringLiteral("by escape"));
    QTest::keyClick(panel().promptField, Qt::Key_Escape);
    open();
    typePrompt(QStringLiteral("by the hotkey"));
    dispatch.advance(1);
    delegate->toggle();
    open();
    settle();
    typePrompt(QStringLiteral("sent"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    restart();
    delegate->applicationDidFinishLaunching();
    settle();
    open();
    EXPECT_EQ(panel().promptField->text(), QString()) << "nothing of itself";
    for (const char* words : {"sent", "by the hotkey", "by escape", "by escape"}) {
        QTest::keyClick(panel().promptField, Qt::Key_Up);
        EXPECT_EQ(panel().promptField->text(), QLatin1String(words));
    }
    QTest::keyClick(panel().promptField, Qt::Key_Down);
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("by the hotkey"));
    typePrompt(QStringLiteral("!"));
    QTest::keyClick(panel().promptField, Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("by the hotkey!")) << "not over what is typed";
    panel().promptField->clear();
    QTest::mouseClick(panel().historyBtnRef, Qt::LeftButton);
    settle();
    QTest::keyClick(delegate->currentPanel()->windowHandle(), Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), QString()) << "the list's arrows are its own";
}

TEST_F(AppDelegateTest, TheModeFollowsTheWordingUntilTheUserChooses) {
    QDir().mkpath(paths.systemDir);
    open();
    settle();
    typePrompt(QStringLiteral("what"));
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Submit")) << "not inside a word";
    typePrompt(QStringLiteral(" "));
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Send"));
    EXPECT_TRUE(panel().replaceBtnRef->isHidden());
    EXPECT_EQ(panel().promptField->placeholderText(), QStringLiteral("Ask Torvi about this…"));
    QTest::mouseClick(panel().modeControl->modeSegDo, Qt::LeftButton);
    typePrompt(QStringLiteral("the difference between these? "));
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Submit")) << "an explicit choice is never overruled";
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    const QByteArray commits = readFile(paths.systemDir + QStringLiteral("/ovalin-intent-log.jsonl"));
    EXPECT_TRUE(commits.contains("\"overridden\":true")) << commits.toStdString();
    open();
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Submit"));
    typePrompt(QStringLiteral("is it cheaper? "));
    EXPECT_EQ(panel().sendBtnRef->text(), QStringLiteral("Send")) << "a new opening is unlocked";
}

TEST_F(AppDelegateTest, TheReplaceButtonFollowsPageAndOwner) {
    CaptureContext context;
    const QString selected = QStringLiteral("x");
    EXPECT_EQ(replaceButtonFor(context, selected, false), (ReplaceButton{QStringLiteral("Replace"), false}));
    EXPECT_EQ(replaceButtonFor(context, {}, false), (ReplaceButton{QStringLiteral("Insert"), false}));
    EXPECT_TRUE(replaceButtonFor(context, {}, true).hidden);
    context.capURL = QStringLiteral("https://example.org/");
    EXPECT_TRUE(replaceButtonFor(context, selected, false).hidden) << "owner unknown";
    context.capSiteOwned = false;
    EXPECT_TRUE(replaceButtonFor(context, selected, false).hidden);
    context.capSiteOwned = true;
    EXPECT_FALSE(replaceButtonFor(context, selected, false).hidden);
    context.capURL = QStringLiteral("file:///tmp/a.html");
    context.capSiteOwned.reset();
    EXPECT_FALSE(replaceButtonFor(context, selected, false).hidden);
    context.capURL = QStringLiteral("http://example.org/");
    context.capBundle = QStringLiteral("com.tamsery.quarn");
    EXPECT_FALSE(replaceButtonFor(context, selected, false).hidden);

    tab = BrowserTab{QStringLiteral("https://example.org/"), QString()};
    siteIsOwned = true;
    open();
    EXPECT_FALSE(panel().replaceBtnRef->isHidden());
    settle();
    EXPECT_FALSE(panel().replaceBtnRef->isHidden());
    EXPECT_EQ(delegate->capture().capSiteOwned, true);
}

TEST_F(AppDelegateTest, TheFirstOpeningEverExplainsItselfOnce) {
    QFile::remove(QDir::homePath() + QStringLiteral("/.config/ovalin/ovalin.conf"));
    restart();
    open();
    dispatch.advance(0.34);
    EXPECT_EQ(log.count(QStringLiteral("Ovalin howto: shown")), 0);
    dispatch.advance(0.02);
    EXPECT_EQ(log.count(QStringLiteral("Ovalin howto: shown")), 1);
    delegate->helpTapped();
    delegate->helpTapped();
    EXPECT_EQ(log.count(QStringLiteral("Ovalin howto: shown")), 2) << "the button hides it, then shows it";
    delegate->closePanel();
    open();
    dispatch.advance(1);
    EXPECT_EQ(log.count(QStringLiteral("Ovalin howto: shown")), 2);
}

TEST_F(AppDelegateTest, TheUserIsToldWhatHeCannotSee) {
    fake.hotKeys.statuses = std::vector<int>(7, 10);
    fake.accessibility.enabled = false;
    delegate->applicationDidFinishLaunching();
    ASSERT_EQ(fake.notifier.shown.size(), 1u);
    EXPECT_FALSE(fake.accessibility.turnedOn) << "never silently";
    fake.notifier.shown[0].onAction();
    EXPECT_TRUE(fake.accessibility.turnedOn);
    dispatch.advance(100);
    ASSERT_EQ(fake.notifier.shown.size(), 2u);
    EXPECT_TRUE(fake.notifier.shown[1].body.contains(QStringLiteral("ovalin toggle")));
    restart();
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(fake.notifier.shown.size(), 2u) << "the offer is made once";
    fake.sessionEvents.didWake();
    EXPECT_GE(fake.hotKeys.unregistrations, 1);
}

TEST_F(AppDelegateTest, NoAgentIsSaidByNotificationAndOnTheNextOpening) {
    QFile::remove(paths.routerScript);
    open();
    settle();
    typePrompt(QStringLiteral("note this"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    if (fake.notifier.shown.empty())
        return; // an agent is installed on this machine
    EXPECT_TRUE(fake.notifier.shown[0].body.startsWith(QStringLiteral("Claude Code not found — install it from ")));
    open();
    EXPECT_EQ(panel().hintField->status(), fake.notifier.shown[0].body);
    EXPECT_EQ(queueFiles().size(), 1) << "the request waits in the queue";
}

TEST_F(AppDelegateTest, ARequestUnderWayIsWrittenWhenTheProgramEnds) {
    png.reset();
    open();
    settle();
    typePrompt(QStringLiteral("last words"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    EXPECT_TRUE(queueFiles().isEmpty());
    delegate->applicationWillTerminate();
    settle();
    EXPECT_EQ(queueFiles().size(), 1);
}

TEST_F(AppDelegateTest, ReplaceWithTheWordsThemselvesClosesThePanelAndPastes) {
    open();
    settle();
    typePrompt(QStringLiteral(" replace with 'Acme Corp' "));
    fake.pasteboard.lent = {false, {}};
    QTest::mouseClick(panel().replaceBtnRef, Qt::LeftButton);
    settle();
    EXPECT_EQ(delegate->currentPanel(), nullptr);
    EXPECT_EQ(fake.pasteboard.borrowed, QStringList(QStringLiteral("Acme Corp")));
    ASSERT_EQ(fake.keyboard.pastes.size(), 1u);
    EXPECT_EQ(fake.keyboard.pastes[0], (AppWindow{4711, 1})) << "the window in front at the opening";
    EXPECT_EQ(log.count(QStringLiteral("Ovalin replace: bundle=Mousepad torvi=0 quarn=0 file=0 web=0 selLen=11 "
                                       "instr=replace with 'Acme Corp'")),
              1);
}

TEST_F(AppDelegateTest, ReplaceSaysWhatIsMissing) {
    const struct {
        const char* bundle;
        const char* selection;
        const char* prompt;
        const char* status;
    } rows[] = {{"Mousepad", "x", "", "type how to transform it first"},
                {"Mousepad", "", " ", "type the text to insert first"},
                {"com.orlanvex.torvi", "", "new", "select the text to replace first"},
                {"com.orlanvex.torvi", "x", "new", "Claude Code not found — install it from https://claude.ai/code"}};
    for (const auto& row : rows) {
        fake.workspace.front->bundleId = QString::fromLatin1(row.bundle);
        fake.accessibility.answer = {Kind::Text, QString::fromLatin1(row.selection), false};
        open();
        settle();
        typePrompt(QString::fromLatin1(row.prompt));
        delegate->replaceTapped();
        EXPECT_FALSE(panel().replaceBtnRef->isEnabled());
        settle();
        EXPECT_EQ(panel().hintField->status(), QString::fromUtf8(row.status));
        EXPECT_TRUE(panel().replaceBtnRef->isEnabled() && panel().sendBtnRef->isEnabled());
        delegate->closePanel();
    }
    EXPECT_EQ(log.count(QStringLiteral("Ovalin replace: bundle=")), 4);
    EXPECT_TRUE(fake.pasteboard.borrowed.empty());
}

TEST_F(AppDelegateTest, WhileATransformRunsTheButtonsWaitAndItsEndIsShown) {
    const QString script = paths.binDir + QStringLiteral("/ovalin-replace-file.sh");
    for (const bool succeeds : {false, true}) {
        writeFile(script,
                  succeeds ? "#!/bin/sh\necho edited a.html\n" : "#!/bin/sh\necho a.html is read-only; exit 1\n");
        QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        tab = BrowserTab{QStringLiteral("file:///a.html"), QString()};
        open();
        settle();
        typePrompt(QStringLiteral("new"));
        dispatch.runAtOnce = false;
        delegate->replaceTapped();
        dispatch.runBackground(); // the selection
        dispatch.runMain();
        EXPECT_EQ(panel().hintField->status(), QStringLiteral("replacing…"));
        delegate->replaceTapped();
        QTest::keyClick(panel().promptField, Qt::Key_Return);
        ASSERT_NE(delegate->currentPanel(), nullptr) << "one thing at a time";
        settle();
        dispatch.runAtOnce = true;
        EXPECT_EQ(panel().hintField->status(),
                  succeeds ? QStringLiteral("edited a.html") : QStringLiteral("a.html is read-only"));
        EXPECT_EQ(panel().replaceBtnRef->isEnabled(), !succeeds);
        dispatch.advance(1.39);
        EXPECT_NE(delegate->currentPanel(), nullptr);
        dispatch.advance(0.02);
        EXPECT_EQ(delegate->currentPanel() == nullptr, succeeds);
        delegate->closePanel();
    }
    EXPECT_TRUE(fake.keyboard.pastes.empty()) << "the page is not typed into";
}

TEST_F(AppDelegateTest, ATransformThatOutlivesItsPanelDisturbsNoOther) {
    const QString script = paths.binDir + QStringLiteral("/ovalin-transform.sh");
    writeFile(script, "#!/bin/sh\necho done\n");
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    fake.pasteboard.lent = {false, {}};
    for (const bool openedAgain : {false, true}) {
        open();
        settle();
        typePrompt(QStringLiteral("make it short"));
        delegate->replaceTapped();
        dispatch.runAtOnce = false;
        dispatch.runMain(); // the selection has come, the transform is begun
        delegate->closePanel();
        if (openedAgain) {
            open();
            typePrompt(QStringLiteral("something else"));
        }
        settle();
        dispatch.runAtOnce = true;
        EXPECT_TRUE(fake.keyboard.pastes.empty() && fake.keyboard.raised.empty()) << "the user has closed it";
        EXPECT_EQ(fake.pasteboard.borrowed.back(), QStringLiteral("done"));
        EXPECT_EQ(fake.notifier.shown.size(), openedAgain ? 2u : 1u);
        EXPECT_TRUE(fake.notifier.shown.back().body.contains(QStringLiteral("Editor")));
        EXPECT_EQ(delegate->currentPanel() != nullptr, openedAgain);
    }
    EXPECT_EQ(panel().promptField->text(), QStringLiteral("something else"));
}

TEST_F(AppDelegateTest, AResultThatTookLongIsPastedOnlyWhereNothingHasChanged) {
    const AccessibleSelection selected{Kind::Text, QStringLiteral("the excerpt"), false, false, FocusKind::Editable, 5};
    const AccessibleSelection nothing{Kind::Unavailable, {}, false, false, FocusKind::Unknown, 5};
    const struct {
        const char* name;
        double took;
        AccessibleSelection at, then;
        quint32 front;
        const char* instruction;
        const char* told; // null: pasted
    } rows[] = {
        {"as it was", 1, selected, selected, 1, "make it short", nullptr},
        {"nobody says", 1, selected, nothing, 1, "make it short", nullptr},
        {"quick",
         0.2,
         selected,
         {Kind::Text, QStringLiteral("other"), false, false, FocusKind::Editable, 5},
         1,
         "make it short",
         nullptr},
        {"other words",
         1,
         selected,
         {Kind::Text, QStringLiteral("other"), false, false, FocusKind::Editable, 5},
         1,
         "make it short",
         "not what it was made from"},
        {"other part",
         1,
         selected,
         {Kind::Text, QStringLiteral("the excerpt"), false, false, FocusKind::Terminal, 5},
         1,
         "make it short",
         "another place"},
        {"same words, other window",
         1,
         selected,
         {Kind::Text, QStringLiteral("the excerpt"), false, false, FocusKind::Editable, 6},
         1,
         "make it short",
         "another place"},
        {"other application", 1, selected, selected, 9, "make it short", "another place"},
        {"insert", 1, nothing, nothing, 1, "make a haiku", nullptr},
        {"insert, other window", 1, nothing, nothing, 9, "make a haiku", "another place"},
        {"insert, selected since", 1, nothing, selected, 1, "make a haiku", "not what it was made from"},
    };
    writeProgram(paths.binDir + QStringLiteral("/ovalin-transform.sh"), "#!/bin/sh\necho done\n");
    writeProgram(home.filePath(QStringLiteral(".local/bin/claude")), "#!/bin/sh\necho done\n");
    fake.pasteboard.lent = {true, std::chrono::milliseconds(200)};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fake.accessibility.answer = row.at;
        fake.workspace.front->window = 1;
        open();
        settle();
        typePrompt(QString::fromLatin1(row.instruction));
        dispatch.runAtOnce = false;
        delegate->replaceTapped();
        dispatch.runBackground();
        dispatch.runMain();
        dispatch.advance(row.took);
        fake.accessibility.answer = row.then;
        fake.workspace.front->window = row.front;
        settle();
        dispatch.runAtOnce = true;
        EXPECT_EQ(delegate->currentPanel(), nullptr);
        EXPECT_EQ(std::exchange(fake.keyboard.pastes, {}).size(), row.told ? 0u : 1u);
        EXPECT_EQ(std::exchange(fake.keyboard.raised, {}).size(), row.told ? 0u : 1u) << "no window is raised";
        ASSERT_EQ(fake.notifier.shown.size(), row.told ? 1u : 0u);
        if (row.told) {
            EXPECT_TRUE(fake.notifier.shown[0].body.contains(QString::fromLatin1(row.told)))
                << fake.notifier.shown[0].body.toStdString();
        }
        fake.notifier.shown.clear();
    }
}

TEST_F(AppDelegateTest, WithoutASelectionTheAgentWritesWhatIsInserted) {
    writeProgram(home.filePath(QStringLiteral(".local/bin/claude")),
                 "#!/bin/sh\necho \"  \\\"$OVALIN_INSERT_INSTRUCTION\\\"  \"\n");
    fake.accessibility.answer = {Kind::None, {}, false, false, FocusKind::Editable, 1};
    fake.pasteboard.lent = {true, std::chrono::milliseconds(200)};
    open();
    settle();
    typePrompt(QStringLiteral("make a haiku"));
    delegate->replaceTapped();
    settle();
    EXPECT_EQ(fake.keyboard.pastes.size(), 1u);
    EXPECT_EQ(fake.pasteboard.borrowed, QStringList(QStringLiteral("\"make a haiku\"")));
}

TEST_F(AppDelegateTest, AJobOfAnotherOpeningSaysNothingInThisOne) {
    const struct {
        const char* url;
        const char* script;
        const char* text;
    } rows[] = {{"", "/ovalin-transform.sh", "#!/bin/sh\nexit 1\n"},
                {"file:///a.html", "/ovalin-replace-file.sh", "#!/bin/sh\necho edited a.html\n"},
                {"file:///a.html", "/ovalin-replace-file.sh", "#!/bin/sh\necho a.html is read-only; exit 1\n"}};
    for (const auto& row : rows) {
        writeProgram(paths.binDir + QString::fromLatin1(row.script), row.text);
        tab = BrowserTab{QString::fromLatin1(row.url), QString()};
        open();
        settle();
        typePrompt(QStringLiteral("make it short"));
        dispatch.runAtOnce = false;
        delegate->replaceTapped();
        dispatch.runBackground();
        dispatch.runMain(); // the selection has come, the job is begun
        delegate->closePanel();
        open();
        settle();
        dispatch.runAtOnce = true;
        dispatch.advance(2);
        ASSERT_NE(delegate->currentPanel(), nullptr) << row.text;
        EXPECT_EQ(panel().hintField->status(), QString()) << row.text;
        delegate->closePanel();
    }
}

TEST_F(AppDelegateTest, AnExcerptThatWasReadForAnotherOpeningIsDropped) {
    dispatch.runAtOnce = false;
    open();
    dispatch.runBackground(); // read, and on its way
    delegate->closePanel();
    fake.accessibility.answer.text = QStringLiteral("of the second");
    open();
    dispatch.runMain();
    EXPECT_NE(panel().previewView->excerpt(), QStringLiteral("the excerpt"));
    settle();
    EXPECT_EQ(panel().previewView->excerpt(), QStringLiteral("of the second"));
}

TEST_F(AppDelegateTest, ReplaceSubmitAndTheEndOfThePanelStopTheDictation) {
    FakeRecognizer recognizer;
    FakeMicrophone microphone;
    fake.desktop.microphone = &microphone;
    fake.desktop.speechRecognizer = &recognizer;
    restart();
    const std::function<void()> ends[] = {[&] { delegate->replaceTapped(); }, [&] { delegate->sendTapped(); },
                                          [&] { delegate->closePanel(); }};
    for (size_t i = 0; i < std::size(ends); ++i) {
        open();
        settle();
        delegate->micTapped();
        settle();
        ASSERT_TRUE(microphone.running);
        ends[i]();
        EXPECT_FALSE(microphone.running) << i;
        delegate->closePanel();
        settle();
    }
    delegate.reset();
}

TEST_F(AppDelegateTest, TheTextGoesToTheWindowThatItsSelectionCameFrom) {
    fake.accessibility.answer.window = 77;
    fake.pasteboard.lent = {true, std::chrono::milliseconds(200)};
    open();
    settle();
    typePrompt(QStringLiteral("new words"));
    delegate->replaceTapped();
    settle();
    ASSERT_EQ(fake.keyboard.pastes.size(), 1u);
    EXPECT_EQ(fake.keyboard.pastes[0], (AppWindow{4711, 77}));
}

TEST_F(AppDelegateTest, WhereNoKeyIsSafeNothingIsBegun) {
    fake.keyboard.way = {
        PasteWay::Keys::None, PasteWay::Before::Nothing, false, false, false, QStringLiteral("that text is read-only")};
    open();
    settle();
    typePrompt(QStringLiteral("make it short"));
    delegate->replaceTapped();
    settle();
    EXPECT_EQ(panel().hintField->status(), QStringLiteral("that text is read-only"));
    EXPECT_EQ(log.count(QStringLiteral("Ovalin replace: script")), 0);

    // A key goes before the paste, and it is not known what that would delete.
    fake.keyboard.way = {PasteWay::Keys::ShiftInsert, PasteWay::Before::Delete, false, false, false, {}};
    delegate->replaceTapped();
    settle();
    EXPECT_EQ(panel().hintField->status(), QStringLiteral("select the text there again first"));
    EXPECT_TRUE(fake.pasteboard.borrowed.isEmpty());
}

TEST_F(AppDelegateTest, TheFocusIsInThePromptAfterReplaceAndOnlyOneOwnerLetsItBeSent) {
    open();
    settle();
    panel().replaceBtnRef->setFocus();
    delegate->replaceTapped();
    EXPECT_EQ(delegate->currentPanel()->focusWidget(), panel().promptField);
    settle();
    EXPECT_EQ(delegate->currentPanel()->focusWidget(), panel().promptField) << "nothing was typed yet";

    using Busy = CapturePanel::Busy;
    delegate->currentPanel()->setBusy(Busy::Answering, true);
    delegate->currentPanel()->setBusy(Busy::Replacing, true);
    delegate->currentPanel()->setBusy(Busy::Answering, false);
    EXPECT_FALSE(panel().sendBtnRef->isEnabled()) << "an answer that ends while a text is being replaced";
    typePrompt(QStringLiteral("note this"));
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    EXPECT_NE(delegate->currentPanel(), nullptr);
    delegate->currentPanel()->setBusy(Busy::Replacing, false);
    EXPECT_TRUE(panel().sendBtnRef->isEnabled());
}

TEST_F(AppDelegateTest, TheClockTogglesTheListOfPastConversations) {
    open();
    settle();
    const auto click = [this] { QTest::mouseClick(panel().historyBtnRef, Qt::LeftButton); };
    const QImage plain = panel().historyBtnRef->grab().toImage();
    click();
    EXPECT_NE(panel().historyBtnRef->grab().toImage(), plain);
    settle();
    EXPECT_NE(delegate->currentHistoryPanel(), nullptr);
    EXPECT_NE(panel().historyBtnRef->grab().toImage(), plain);
    click();
    EXPECT_EQ(delegate->currentHistoryPanel(), nullptr);
    EXPECT_EQ(panel().historyBtnRef->grab().toImage(), plain);
    click();
    click(); // before the list has been read
    settle();
    EXPECT_EQ(delegate->currentHistoryPanel(), nullptr);

    click();
    settle();
    QTest::keyClick(delegate->currentPanel()->windowHandle(), Qt::Key_Escape);
    EXPECT_EQ(delegate->currentHistoryPanel(), nullptr);
    ASSERT_NE(delegate->currentPanel(), nullptr) << "Escape closes the list first";
    click();
    settle();
    QTest::mouseClick(panel().helpBtn, Qt::LeftButton);
    EXPECT_EQ(delegate->currentHistoryPanel(), nullptr) << "one card at a time";
    click();
    delegate->closePanel();
    settle();
    EXPECT_EQ(delegate->currentHistoryPanel(), nullptr);
}
