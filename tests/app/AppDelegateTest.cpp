#include "app/AppDelegate.h"

#include "intent/CommitLog.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"
#include "fakes/FakeSpeech.h"
#include "support/PanelParts.h"
#include "support/Limits.h"

#include <QAccessible>
#include <QTest>

using Kind = AccessibleSelection::Kind;

namespace {

struct PaintCounter : QObject {
    int count = 0;
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

/// The whole controller over a desktop that records, with a HOME of its own and a clock that stands still.
struct AppDelegateTest : testing::Test {
    QTemporaryDir home;
    FakeDesktop fake;
    FakeDispatch dispatch;
    LogRecorder log;
    Paths paths = Paths::under(home.path());
    std::optional<BrowserTab> tab;
    std::optional<QByteArray> png = QByteArrayLiteral("png");
    bool siteIsOwned = false, secretByNow = false;
    Config config;
    std::function<std::optional<QString>()> textOfPicture = [] { return std::nullopt; };
    std::unique_ptr<AppDelegate> delegate;

    AppDelegateTest() {
        paths.heartbeatFile = home.filePath(u"heartbeat"_s);
        paths.runtimeDir = home.filePath(u"run"_s);
        paths.resourcesDir.clear(); // its scripts would be installed, and look for an agent
        fake.accessibility.answer = {Kind::Text, u"the excerpt"_s, false};
        // The router is a script, so that no test looks for an agent on this machine.
        writeProgram(paths.routerScript, "#!/bin/sh\n");
        UserDefaults().set(u"ovalinHowtoSeen"_s);
        restart();
    }
    void restart() {
        delegate.reset();
        delegate = std::make_unique<AppDelegate>(
            fake.desktop, dispatch,
            Surroundings{paths,
                         AgentSearch{{home.filePath(u".local/bin/claude"_s)}},
                         {[this](const QString&) { return tab; }, [this](qint32) { return png; },
                          [this](const QByteArray&) { return textOfPicture(); },
                          [this](WindowId, const QString&) { return secretByNow; }},
                         [this](const QString&) { return siteIsOwned; },
                         config});
    }
    void open() {
        dispatch.advance(1);
        delegate->toggle();
        ASSERT_TRUE(isOpen());
    }
    void openSettled() {
        open();
        settle();
    }
    void submit(const QString& words) {
        typePrompt(words);
        QTest::keyClick(panel().promptField, Qt::Key_Return);
    }
    void close() {
        if (isOpen())
            QTest::mouseClick(panel().cancelBtn, Qt::LeftButton);
    }
    void replace() { QTest::mouseClick(panel().replaceBtnRef, Qt::LeftButton); }
    template <class Window>
    static Window* shown() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<Window*>(widget); window && window->isVisible())
                return window;
        }
        return nullptr;
    }
    static bool isOpen() { return shown<CapturePanel>() != nullptr; }
    static bool listIsOpen() { return shown<HistoryPanel>() != nullptr; }
    void settle() { dispatch.settle(); }
    ~AppDelegateTest() override {
        delegate.reset();
        LiveChild::awaitEnds();
    }
    static PanelParts panel() { return PanelParts(*shown<CapturePanel>()); }
    static void typePrompt(const QString& text) { type(panel().promptField, text); }
    [[nodiscard]] QStringList queueFiles() const { return QDir(paths.queueDir).entryList({u"*.json"_s}, QDir::Files); }
    [[nodiscard]] QJsonObject queued(int index = 0) const {
        return readJson(paths.queueDir + QLatin1Char('/') + queueFiles().value(index));
    }
    [[nodiscard]] QJsonArray ledger() const { return readJson(paths.capturesFile)[u"items"_s].toArray(); }
};

} // namespace

TEST_F(AppDelegateTest, ARequestTravelsFromTheHotkeyToTheQueue) {
    open();
    EXPECT_TRUE(fake.keyboardHold.held());
    EXPECT_TRUE(fake.primaryGuard.active);
    settle();
    EXPECT_EQ(panel().previewView->excerpt(), u"the excerpt"_s);
    EXPECT_EQ(panel().replaceBtnRef->text(), u"Replace"_s);
    EXPECT_EQ(panel().promptField->placeholderText(), u"What should Torvi do with this?"_s);
    submit(u"  send this to Ann  "_s);
    QTest::keyClick(panel().promptField, Qt::Key_Return); // while the disk works
    EXPECT_EQ(ledger().size(), 1) << "on the disk before the panel goes";
    dispatch.runMain();
    EXPECT_FALSE(isOpen());
    EXPECT_FALSE(fake.keyboardHold.held());
    EXPECT_FALSE(fake.primaryGuard.active);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    const QJsonObject item = queued();
    EXPECT_EQ(item.value(u"prompt"_s), u"send this to Ann"_s);
    EXPECT_EQ(item.value(u"text"_s), u"the excerpt"_s);
    EXPECT_EQ(item.value(u"source_bundle"_s), u"Mousepad"_s);
    EXPECT_EQ(item.value(u"context_mode"_s), u"screenshot"_s);
    EXPECT_TRUE(item.contains(u"screenshot"_s));
    ASSERT_EQ(ledger().size(), 1);
    EXPECT_EQ(ledger().first().toObject().value(u"id"_s), item.value(u"id"_s));
}

TEST_F(AppDelegateTest, TheFirstPictureIsTheLastWhereTheAnswerComesInTime) {
    dispatch.runAtOnce = false;
    const struct {
        const char* what;
        QString text;
        bool composited, late, paintedAtOnce;
    } rows[] = {{"an excerpt", u"the excerpt"_s, false, false, false},
                {"nothing", {}, false, false, false},
                {"nothing, late", {}, false, true, false},
                {"with a compositing manager, which would show it unpainted", {}, true, false, true}};
    for (const auto& row : rows) {
        fake.panels.transparent = row.composited;
        fake.accessibility.answer = {row.text.isEmpty() ? Kind::None : Kind::Text, row.text, false};
        fake.accessibility.answer.focus = FocusKind::Editable;
        open();
        auto* window = shown<CapturePanel>();
        const int height = window->height();
        PaintCounter painted;
        window->installEventFilter(&painted);
        QCoreApplication::processEvents();
        EXPECT_EQ(painted.count > 0, row.paintedAtOnce) << row.what;
        if (row.late)
            dispatch.advance(0.02);
        else
            settle();
        QCoreApplication::processEvents();
        EXPECT_GT(painted.count, 0) << row.what;
        settle();
        EXPECT_EQ(window->height() == height, row.text.isEmpty()) << row.what << ": room was kept for the note";
        close();
        settle();
    }
}

TEST_F(AppDelegateTest, APanelMadeAheadIsEmptyAndLooksAsTheDesktopDoesNow) {
    struct : DesktopSettings {
        DesktopLook wanted;
        DesktopLook look() override { return wanted; }
        bool animations() override { return true; }
    } settings;
    fake.desktop.settings = &settings;
    config.appearance = Config::Appearance::Desktop;
    restart();
    openSettled();
    typePrompt(u"words"_s);
    close();
    dispatch.advance(1); // the next one is made
    settings.wanted.dark = true;
    open();
    EXPECT_EQ(panel().promptField->text(), QString());
    EXPECT_EQ(panel().promptField->palette().color(QPalette::Text), Palette::colorsOf(Palette::Look::Dark).ink);
}

TEST_F(AppDelegateTest, OverWhatIsLeftAloneNothingIsTaken) {
    const struct {
        std::optional<FrontApplication> front;
        const char* said;
        QStringList exclude;
    } cases[] = {
        {std::nullopt, "nobody tells which window is in front", {}},
        {FrontApplication{u"KeePassXC"_s, u"KeePassXC"_s, 1, {1}, u"secrets [Locked]"_s},
         "KeePassXC is left alone",
         {}},
        {FrontApplication{u"Firefox"_s, u"org.mozilla.firefox"_s, 1, {1}, u"My bank/account - Firefox"_s},
         "Firefox is left alone",
         {u"*BANK*firefox"_s}},
        // And not: it only speaks of one.
        {FrontApplication{u"Firefox"_s, u"org.mozilla.firefox"_s, 1, {1}, u"KeePassXC - Wikipedia"_s}, "", {u"bank"_s}},
    };
    for (const auto& each : cases) {
        fake.workspace.front = each.front;
        fake.workspace.seesAll = false;
        fake.accessibility.asked = 0;
        QDir(paths.queueDir).removeRecursively();
        config.exclude = each.exclude;
        tab = BrowserTab{u"https://example.org/secret"_s, u"secret"_s};
        restart();
        openSettled();
        const bool alone = *each.said;
        EXPECT_TRUE(panel().hintField->status().contains(QLatin1String(each.said)));
        EXPECT_EQ(fake.accessibility.asked > 0, !alone) << each.said;
        EXPECT_TRUE(panel().replaceBtnRef->isHidden()) << "a page of others, or left alone";
        fake.selectionHints.give();
        dispatch.advance(1);
        settle();
        QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
        QTest::mouseClick(panel().modeControl->modeSegDo, Qt::LeftButton);
        EXPECT_TRUE(panel().hintField->status().contains(QLatin1String(each.said))) << "still";
        submit(u"note this"_s);
        settle();
        ASSERT_EQ(queueFiles().size(), 1) << "it waits for no picture";
        const QByteArray sent = readFile(paths.queueDir + QLatin1Char('/') + queueFiles().first());
        for (const char* taken : {"the excerpt", "secret", "irefox"})
            EXPECT_EQ(sent.contains(taken), !alone) << taken << " over " << each.said;
        EXPECT_FALSE(sent.contains("screenshot"));
        EXPECT_EQ(readFile(PromptHistory::storePath(paths.systemDir)).contains("note this"), !alone);
        EXPECT_EQ(readFile(commitLogPath(paths.systemDir)).contains("note"), !alone);
        QFile::remove(PromptHistory::storePath(paths.systemDir));
        QFile::remove(commitLogPath(paths.systemDir));
    }
}

TEST_F(AppDelegateTest, NothingIsTakenOfAPageThatComesUnderTheOpenPanelAndIsLeftAlone) {
    for (const bool duringLook : {false, true}) {
        tab = BrowserTab{u"https://example.org/"_s, duringLook ? u"secret"_s : u"Open"_s};
        fake.accessibility.answer = {Kind::Text, u"the excerpt"_s, false};
        secretByNow = duringLook;
        openSettled();
        secretByNow = true;
        fake.accessibility.answer.text = u"secret"_s;
        fake.selectionHints.give();
        dispatch.advance(1);
        settle();
        EXPECT_TRUE(panel().hintField->status().contains(u"left alone"_s));
        replace();
        settle();
        EXPECT_THAT(fake.keyboard.pastes, testing::IsEmpty());
        submit(u"note this"_s);
        settle();
        EXPECT_EQ(ledger().first()[u"text"_s].toString(), duringLook ? QString() : u"the excerpt"_s);
        EXPECT_FALSE(readFile(paths.capturesFile).contains("secret"));
        secretByNow = false;
    }
}

TEST_F(AppDelegateTest, WhatIsSentIsTheExcerptAsTheUserLeftItAndAnEmptyInstructionWillDo) {
    const struct {
        const char *selected, *instruction;
        bool emptied;
        int requests;
    } rows[] = {{"", "", false, 0}, {"words", "note this", true, 1}, {"words", "", false, 2}};
    for (const auto& row : rows) {
        fake.accessibility.answer = {Kind::Text, QLatin1String(row.selected), false};
        openSettled();
        EXPECT_EQ(panel().emptyNoteRef->isVisible(), !*row.selected);
        if (row.emptied) {
            panel().previewView->selectAll();
            QTest::keyClick(panel().previewView, Qt::Key_Delete);
        }
        submit(QLatin1String(row.instruction));
        settle();
        EXPECT_FALSE(isOpen());
        ASSERT_EQ(queueFiles().size(), row.requests);
        ASSERT_EQ(ledger().size(), row.requests);
        if (row.requests > 0) {
            const QJsonObject last = ledger().first().toObject();
            EXPECT_EQ(last.value(u"text"_s).toString(), QLatin1String(row.emptied ? "" : row.selected));
            EXPECT_EQ(last.value(u"prompt"_s).toString(), QLatin1String(row.instruction));
        }
    }
}

TEST_F(AppDelegateTest, AnExcerptThatIsReadAfterSubmitFindsItsRequestAndItsScreenshot) {
    dispatch.runAtOnce = false;
    open();
    submit(u"note this"_s);
    dispatch.advance(0.099);
    EXPECT_TRUE(isOpen());
    dispatch.advance(0.002);
    EXPECT_FALSE(isOpen()) << "neither the application nor the disk is waited for any longer";
    EXPECT_EQ(log.count(u"Ovalin: the request is not on the disk after 100 ms"_s), 1);
    // The next opening takes over the record before anything of the first has come back.
    openSettled();
    close();
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(queued().value(u"text"_s), u"the excerpt"_s);
    EXPECT_TRUE(queued().contains(u"screenshot"_s));
}

TEST_F(AppDelegateTest, AnInstructionThatCannotBeWrittenComesBack) {
    writeFile(home.filePath(u"CLAUDE"_s), "a file where the folder should be");
    openSettled();
    submit(u"send this whatever happens"_s);
    dispatch.advance(2);
    settle();
    EXPECT_GE(log.count(u"Ovalin: queue write failed — "_s), 1) << log.lines.join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(fake.notifier.shown.size(), 1u);
    EXPECT_TRUE(fake.notifier.shown[0].body.startsWith(u"Not a directory: “send this whatever happens”"_s));
    const QString app = std::exchange(fake.workspace.front->name, u"Another"_s);
    for (int opening = 0; opening < 2; ++opening) {
        open();
        EXPECT_EQ(panel().promptField->text(), u"send this whatever happens"_s) << "each time";
        EXPECT_TRUE(panel().hintField->status().startsWith(u"not a directory — not sent yet"_s))
            << panel().hintField->status().toStdString();
        if (opening == 0)
            close();
    }
    typePrompt(u" what? "_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Submit"_s) << "it is a request, whatever its wording";
    QFile::remove(home.filePath(u"CLAUDE"_s));
    fake.accessibility.answer = {Kind::Text, u"of the later opening"_s, false};
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(queued().value(u"prompt"_s), u"send this whatever happens what?"_s);
    EXPECT_EQ(queued().value(u"text"_s), u"the excerpt"_s);
    EXPECT_EQ(queued().value(u"source_app"_s), app);
    EXPECT_TRUE(queued().contains(u"screenshot"_s));
    open();
    EXPECT_EQ(panel().promptField->text(), QString()) << "until it is sent";
}

TEST_F(AppDelegateTest, WhatCouldNotBeSentIsDroppedOrPutOffByTheUserAlone) {
    writeFile(home.filePath(u"CLAUDE"_s), "a file where the folder should be");
    const auto replaceAllBy = [](const char* words) {
        panel().promptField->selectAll();
        typePrompt(QLatin1String(words));
    };
    for (const char* words : {"first", "second"}) {
        openSettled();
        replaceAllBy(words); // over the first one, when that has come back
        QTest::keyClick(panel().promptField, Qt::Key_Return);
        settle();
    }
    open();
    EXPECT_EQ(panel().promptField->text(), u"first"_s) << "put off, and the oldest";
    EXPECT_TRUE(panel().hintField->status().contains(u"(1 of 2)"_s));
    panel().promptField->selectAll();
    QTest::keyClick(panel().promptField, Qt::Key_Delete);
    QTest::keyClick(panel().promptField, Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), u"first"_s) << "as words for another request";
    close();
    restart();
    delegate->applicationDidFinishLaunching();
    settle();
    open();
    EXPECT_EQ(panel().promptField->text(), u"second"_s) << "after a restart";
    QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    EXPECT_TRUE(waitUntil([this] {
        settle();
        return panel().sendBtnRef->isEnabled();
    })) << "answered";
    close();
    open();
    EXPECT_EQ(panel().promptField->text(), QString()) << "asked, it is no request any more";
}

TEST_F(AppDelegateTest, UpBringsBackWhatStoodInThePromptHoweverItWasClosed) {
    openSettled();
    typePrompt(u"by escape"_s);
    QTest::keyClick(panel().promptField, Qt::Key_Escape);
    open();
    typePrompt(u"by the hotkey"_s);
    dispatch.advance(1);
    delegate->toggle();
    openSettled();
    submit(u"sent"_s);
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
    EXPECT_EQ(panel().promptField->text(), u"by the hotkey"_s);
    typePrompt(u"!"_s);
    QTest::keyClick(panel().promptField, Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), u"by the hotkey!"_s) << "not over what is typed";
    panel().promptField->clear();
    QTest::mouseClick(panel().historyBtnRef, Qt::LeftButton);
    settle();
    QTest::keyClick(shown<CapturePanel>()->windowHandle(), Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), QString()) << "the list's arrows are its own";
}

TEST_F(AppDelegateTest, TheModeFollowsTheWordingUntilTheUserChooses) {
    QDir().mkpath(paths.systemDir);
    openSettled();
    typePrompt(u"what"_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Submit"_s) << "not inside a word";
    typePrompt(u" "_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Send"_s);
    EXPECT_TRUE(panel().replaceBtnRef->isHidden());
    EXPECT_EQ(panel().promptField->placeholderText(), u"Ask Torvi about this…"_s);
    QTest::mouseClick(panel().modeControl->modeSegDo, Qt::LeftButton);
    typePrompt(u"the difference between these? "_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Submit"_s) << "an explicit choice is never overruled";
    QTest::keyClick(panel().promptField, Qt::Key_Return);
    settle();
    const QByteArray commits = readFile(paths.systemDir + u"/ovalin-intent-log.jsonl"_s);
    EXPECT_TRUE(commits.contains("\"overridden\":true")) << commits.toStdString();
    open();
    EXPECT_EQ(panel().sendBtnRef->text(), u"Submit"_s);
    typePrompt(u"is it cheaper? "_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Send"_s) << "a new opening is unlocked";
}

TEST_F(AppDelegateTest, AskStartsTheAgentAtTheSwitchAndIsLearnedAndNeverQueued) {
    QDir().mkpath(paths.systemDir);
    const QString agentRan = home.filePath(u"agent ran"_s);
    writeProgram(paths.askScript,
                 "#!/bin/sh\ntouch '" + agentRan.toUtf8() +
                     "'\nwhile read -r line; do echo '{\"type\":\"result\",\"subtype\":\"success\"}'; done\n");
    for (int time = 0; time < 4; ++time) {
        openSettled();
        EXPECT_FALSE(QFile::exists(agentRan)) << "not while it is a request";
        typePrompt(u"frobnicate "_s);
        QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
        settle();
        EXPECT_TRUE(waitUntil([&] { return QFile::exists(agentRan); })) << "before anything is asked";
        QTest::keyClick(panel().promptField, Qt::Key_Return);
        EXPECT_EQ(panel().promptField->text(), QString());
        EXPECT_TRUE(waitUntil([this] {
            settle();
            return panel().sendBtnRef->isEnabled();
        })) << "answered";
        EXPECT_TRUE(panel().transcriptView->toPlainText().contains(u"frobnicate"_s));
        close();
        QFile::remove(agentRan);
    }
    EXPECT_TRUE(queueFiles().isEmpty() && ledger().isEmpty());
    const QByteArray commits = readFile(paths.systemDir + u"/ovalin-intent-log.jsonl"_s);
    EXPECT_EQ(commits.count("\"committed\":\"ask\""), 4) << commits.toStdString();
    restart();
    delegate->applicationDidFinishLaunching();
    settle();
    openSettled();
    typePrompt(u"frobnicate "_s);
    EXPECT_EQ(panel().sendBtnRef->text(), u"Send"_s) << "as it was meant before";
}

TEST_F(AppDelegateTest, TheWordStopEndsTheAnswerThatStreamsAndIsAQuestionOtherwise) {
    writeProgram(paths.askScript, "#!/bin/sh\ncat >>'" + home.filePath(u"asked"_s).toUtf8() + "'\n"); // never answers
    const auto shows = [](const char* words) {
        return panel().transcriptView->toPlainText().contains(QLatin1String(words));
    };
    for (const char* word : {"/stop", " Stop "}) {
        openSettled();
        QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
        submit(QLatin1String(word));
        settle();
        EXPECT_FALSE(panel().sendBtnRef->isEnabled()) << "a question";
        submit(u"stop it"_s);
        EXPECT_FALSE(shows("[stopped]"));
        panel().promptField->clear();
        submit(QLatin1String(word));
        EXPECT_TRUE(waitUntil([&] { return shows("[stopped]"); }));
        EXPECT_TRUE(panel().sendBtnRef->isEnabled());
        EXPECT_EQ(panel().promptField->text(), QString());
        close();
    }
}

TEST_F(AppDelegateTest, WhatIsForgottenDoesNotComeBackFromMemory) {
    openSettled();
    typePrompt(u"a secret"_s);
    bool done = false;
    delegate->serve({{u"command"_s, u"forget"_s}}, [&](const QJsonObject&) { done = true; });
    EXPECT_FALSE(isOpen());
    settle();
    EXPECT_TRUE(done);
    open();
    EXPECT_EQ(panel().promptField->text(), QString());
    QTest::keyClick(panel().promptField, Qt::Key_Up);
    EXPECT_EQ(panel().promptField->text(), QString());
    close();
    delegate.reset();
    settle();
    EXPECT_FALSE(readFile(PromptHistory::storePath(paths.systemDir)).contains("secret"));
}

TEST_F(AppDelegateTest, WhatAPressWouldDoIsSaidBeforeIt) {
    const struct {
        const char *selection, *typed, *outcome, *hint;
    } rows[] = {
        {"the excerpt", "", "", "Return sends the selected text alone"},
        {"the excerpt", "shorter", "in place of the selected text, as they stand: “shorter”", ""},
        {"the excerpt", "replace with 'Acme'", "as they stand: “Acme”", ""},
        {"the excerpt", "make it shorter", "the agent, which changes it", ""},
        {"", "", "", ""},
        {"", "dear all", "at your cursor, as they stand: “dear all”", ""},
        {"", "write a greeting to all who come to the party", "The agent writes", ""},
    };
    for (const auto& row : rows) {
        fake.accessibility.answer.text = QString::fromUtf8(row.selection);
        fake.accessibility.answer.kind = *row.selection ? Kind::Text : Kind::None;
        openSettled();
        typePrompt(QString::fromUtf8(row.typed));
        const QString outcome = panel().replaceBtnRef->accessibleDescription();
        EXPECT_TRUE(outcome.contains(QString::fromUtf8(row.outcome))) << outcome.toStdString();
        EXPECT_EQ(outcome.isEmpty(), !*row.outcome);
        EXPECT_EQ(panel().hintField->status(), QString::fromUtf8(row.hint)) << row.typed;
        panel().promptField->setText({});
        EXPECT_EQ(panel().replaceBtnRef->toolTip(), QString()) << "not what was typed before";
        EXPECT_EQ(panel().hintField->status().isEmpty(), !*row.selection);
        QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
        EXPECT_EQ(panel().hintField->status(), QString()) << "Ask sends no selection alone";
        close();
    }
}

TEST_F(AppDelegateTest, TheReplaceButtonFollowsPageAndOwner) {
    const struct {
        const char *url, *bundle;
        bool owned, shown;
    } rows[] = {{"", "Mousepad", false, true},
                {"https://example.org/", "Mousepad", false, false},
                {"https://example.org/", "Mousepad", true, true},
                {"file:///tmp/a.html", "Mousepad", false, true},
                {"http://example.org/", "com.tamsery.quarn", false, true}};
    for (const auto& row : rows) {
        tab = BrowserTab{QString::fromLatin1(row.url), QString()};
        fake.workspace.front->bundleId = QString::fromLatin1(row.bundle);
        siteIsOwned = row.owned;
        open();
        EXPECT_EQ(panel().replaceBtnRef->text(), u"Insert"_s);
        settle();
        EXPECT_EQ(panel().replaceBtnRef->text(), u"Replace"_s);
        EXPECT_NE(panel().replaceBtnRef->isHidden(), row.shown) << row.url << row.bundle;
        QTest::mouseClick(panel().modeControl->modeSegAsk, Qt::LeftButton);
        EXPECT_TRUE(panel().replaceBtnRef->isHidden());
        close();
    }
}

TEST_F(AppDelegateTest, TheFirstOpeningEverExplainsItselfOnce) {
    QFile::remove(QDir::homePath() + u"/.config/ovalin/ovalin.conf"_s);
    restart();
    open();
    EXPECT_TRUE(panel().hintField->status().contains(u"what you send goes to"_s));
    dispatch.advance(0.34);
    EXPECT_EQ(log.count(u"Ovalin howto: shown"_s), 0);
    dispatch.advance(0.02);
    EXPECT_EQ(log.count(u"Ovalin howto: shown"_s), 1);
    QTest::mouseClick(panel().helpBtn, Qt::LeftButton);
    QTest::mouseClick(panel().helpBtn, Qt::LeftButton);
    EXPECT_EQ(log.count(u"Ovalin howto: shown"_s), 2) << "the button hides it, then shows it";
    close();
    restart();
    open();
    dispatch.advance(1);
    EXPECT_EQ(log.count(u"Ovalin howto: shown"_s), 2) << "nor after the next start";
}

TEST_F(AppDelegateTest, TheUserIsToldWhatTheyCannotSee) {
    fake.hotKeys.states = std::vector(7, HotKeyState::Taken);
    fake.accessibility.enabled = false;
    delegate->applicationDidFinishLaunching();
    ASSERT_EQ(fake.notifier.shown.size(), 2u) << "of the key at its first failure";
    EXPECT_FALSE(fake.accessibility.turnedOn) << "never silently";
    fake.notifier.shown[0].onAction();
    EXPECT_TRUE(fake.accessibility.turnedOn);
    dispatch.advance(100);
    ASSERT_EQ(fake.notifier.shown.size(), 2u) << "and no more";
    EXPECT_TRUE(fake.notifier.shown[1].body.contains(u"ovalin toggle"_s));
    fake.notifier.shown[1].onAction();
    EXPECT_TRUE(fake.notifier.shown.back().body.contains(u"`openbox --reconfigure`."_s));
    EXPECT_THAT(fake.notifier.withdrawn, testing::ElementsAre(2u)) << "the key is free by now";
    QJsonObject told;
    delegate->serve({{u"command"_s, u"status"_s}}, [&](const QJsonObject& answer) { told = answer; });
    EXPECT_EQ(told.value(u"accessibility"_s), QJsonValue(false));
    EXPECT_EQ(told.value(u"hotkey_status"_s), QJsonValue(0));
    restart();
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(fake.notifier.shown.size(), 3u) << "the offer is made once";
    const int before = fake.hotKeys.registrations;
    fake.sessionEvents.didWake();
    EXPECT_EQ(fake.hotKeys.registrations, before + 1) << "a wake registers it anew";
    {
        const DescriptorLimit few(3);
        delegate->toggle();
    }
    EXPECT_FALSE(isOpen()) << "it would hang in Qt, with the keyboard held";
    EXPECT_TRUE(fake.notifier.shown.back().body.startsWith(u"Too many files"_s));
}

TEST_F(AppDelegateTest, ARequestFromOutsideIsHandedOverOrItsWordsWaitInThePanel) {
    QJsonObject answer;
    const auto submitFromOutside = [&] {
        delegate->serve({{u"command"_s, u"do"_s}, {u"words"_s, u"water the plants"_s}},
                        [&](const QJsonObject& given) { answer = given; });
        settle();
    };
    writeFile(home.filePath(u"CLAUDE"_s), "a file where the folder should be");
    submitFromOutside();
    EXPECT_TRUE(answer.value(u"error"_s).toString().contains(u"not a directory"_s));
    open();
    EXPECT_EQ(panel().promptField->text(), u"water the plants"_s);
    close();
    QFile::remove(home.filePath(u"CLAUDE"_s));
    submitFromOutside();
    ASSERT_EQ(queueFiles().size(), 1);
    EXPECT_EQ(answer.value(u"said"_s).toString(), u"handed over as "_s + queued().value(u"id"_s).toString());
}

TEST_F(AppDelegateTest, NoAgentIsSaidByNotificationAndOnTheNextOpening) {
    QFile::remove(paths.routerScript);
    openSettled();
    submit(u"note this"_s);
    settle();
    ASSERT_EQ(fake.notifier.shown.size(), 1u);
    EXPECT_TRUE(fake.notifier.shown[0].body.startsWith(u"Claude Code not found — install it from "_s));
    open();
    EXPECT_EQ(panel().hintField->status(), fake.notifier.shown[0].body);
    EXPECT_EQ(queueFiles().size(), 1) << "the request waits in the queue";
}

TEST_F(AppDelegateTest, ARequestUnderWayIsWrittenWhenTheProgramEnds) {
    png.reset();
    openSettled();
    submit(u"last words"_s);
    settle();
    EXPECT_TRUE(queueFiles().isEmpty());
    openSettled();
    typePrompt(u"half a thought"_s);
    delegate.reset();
    EXPECT_FALSE(isOpen() || fake.keyboardHold.held());
    EXPECT_EQ(fake.hotKeys.unregistrations, 1);
    settle();
    EXPECT_EQ(queueFiles().size(), 1);
    EXPECT_TRUE(readFile(PromptHistory::storePath(paths.systemDir)).contains("half a thought"));
}

TEST_F(AppDelegateTest, ReplaceWithTheWordsThemselvesClosesThePanelAndPastesIntoTheWindowOfTheSelection) {
    fake.pasteboard.lent = {false, {}};
    for (const WindowId window : {WindowId{}, WindowId{77}}) {
        fake.accessibility.answer.window = window;
        openSettled();
        typePrompt(u" replace with 'Acme Corp' "_s);
        replace();
        settle();
        EXPECT_FALSE(isOpen());
        EXPECT_EQ(fake.pasteboard.borrowed.last(), u"Acme Corp"_s);
        EXPECT_EQ(log.count(u"Acme"_s), 0) << "lengths only";
        ASSERT_FALSE(fake.keyboard.pastes.empty());
        EXPECT_EQ(fake.keyboard.pastes.back(), (AppWindow{4711, window ? window : WindowId{1}}))
            << "else of the opening";
    }
}

TEST_F(AppDelegateTest, ReplaceSaysWhatIsMissingAndBeginsNothing) {
    using Before = PasteWay::Before;
    const PasteWay safe = fake.keyboard.way;
    const PasteWay none{PasteWay::Keys::None, Before::Nothing, false, false, false, u"it is read-only"_s};
    const PasteWay deletes{PasteWay::Keys::ShiftInsert, Before::Delete, false, false, false, {}}; // nobody knows what
    const struct {
        const char *bundle, *selection, *prompt, *status;
        PasteWay way;
    } rows[] = {
        {"Mousepad", "x", "", "type how to transform it first", safe},
        {"Mousepad", "", " ", "type the text to insert first", safe},
        {"Mousepad", "x", "make it short", "it is read-only", none},
        {"Mousepad", "x", "make it short", "select the text there again first", deletes},
        {"com.orlanvex.torvi", "", "new", "select the text to replace first", safe},
        {"com.orlanvex.torvi", "x", "new", "Claude Code not found — install it from https://claude.ai/code", safe}};
    for (const auto& row : rows) {
        fake.workspace.front->bundleId = QString::fromLatin1(row.bundle);
        fake.accessibility.answer = {Kind::Text, QString::fromLatin1(row.selection), false};
        fake.keyboard.way = row.way;
        openSettled();
        typePrompt(QString::fromLatin1(row.prompt));
        replace();
        EXPECT_FALSE(panel().replaceBtnRef->isEnabled());
        settle();
        EXPECT_EQ(panel().hintField->status(), QString::fromUtf8(row.status));
        EXPECT_TRUE(panel().replaceBtnRef->isEnabled() && panel().sendBtnRef->isEnabled());
        close();
    }
    EXPECT_EQ(log.count(u"Ovalin replace: script"_s), 1) << "which is not there";
    EXPECT_TRUE(fake.pasteboard.borrowed.empty());
}

TEST_F(AppDelegateTest, WhileATransformRunsTheButtonsWaitAndItsEndIsShown) {
    const QString script = paths.binDir + u"/ovalin-replace-file.sh"_s;
    for (const bool succeeds : {false, true}) {
        writeProgram(script,
                     succeeds ? "#!/bin/sh\necho edited a.html\n" : "#!/bin/sh\necho a.html is read-only; exit 1\n");
        tab = BrowserTab{u"file:///a.html"_s, QString()};
        openSettled();
        typePrompt(u"new"_s);
        dispatch.runAtOnce = false;
        replace();
        dispatch.runBackground(); // the selection
        dispatch.runMain();
        EXPECT_EQ(panel().hintField->status(), u"replacing…"_s);
        replace();
        QTest::keyClick(panel().promptField, Qt::Key_Return);
        ASSERT_TRUE(isOpen()) << "one thing at a time";
        settle();
        dispatch.runAtOnce = true;
        EXPECT_EQ(panel().hintField->status(), succeeds ? u"edited a.html"_s : u"a.html is read-only"_s);
        EXPECT_EQ(panel().replaceBtnRef->isEnabled(), !succeeds);
        dispatch.advance(1.39);
        EXPECT_TRUE(isOpen());
        dispatch.advance(0.02);
        EXPECT_NE(isOpen(), succeeds);
        close();
    }
    EXPECT_TRUE(fake.keyboard.pastes.empty()) << "the page is not typed into";
}

TEST_F(AppDelegateTest, AJobThatOutlivesItsPanelDisturbsNoOther) {
    const struct {
        const char *url, *script, *text;
        bool leavesText;
    } rows[] = {{"", "/ovalin-transform.sh", "#!/bin/sh\necho done\n", true},
                {"", "/ovalin-transform.sh", "#!/bin/sh\nexit 1\n", false},
                {"file:///a.html", "/ovalin-replace-file.sh", "#!/bin/sh\necho edited a.html\n", false},
                {"file:///a.html", "/ovalin-replace-file.sh", "#!/bin/sh\necho read-only; exit 1\n", false}};
    for (const auto& row : rows) {
        for (const bool openedAgain : {false, true}) {
            SCOPED_TRACE(row.text);
            writeProgram(paths.binDir + QString::fromLatin1(row.script), row.text);
            tab = BrowserTab{QString::fromLatin1(row.url), QString()};
            openSettled();
            typePrompt(u"make it short"_s);
            replace();
            dispatch.runAtOnce = false;
            dispatch.runMain(); // the selection has come, the job is begun
            close();
            if (openedAgain) {
                open();
                typePrompt(u"something else"_s);
            }
            settle();
            dispatch.runAtOnce = true;
            dispatch.advance(2);
            EXPECT_TRUE(fake.keyboard.pastes.empty() && fake.keyboard.raised.empty()) << "the user has closed it";
            const auto told = std::exchange(fake.notifier.shown, {});
            ASSERT_EQ(told.size(), row.leavesText ? 1u : 0u);
            if (row.leavesText) {
                EXPECT_EQ(fake.pasteboard.borrowed.back(), u"done"_s);
                EXPECT_TRUE(told[0].body.contains(u"Editor"_s));
            }
            ASSERT_EQ(isOpen(), openedAgain);
            if (openedAgain) {
                EXPECT_EQ(panel().hintField->status(), QString());
                EXPECT_EQ(panel().promptField->text(), u"something else"_s);
            }
            close();
        }
    }
}

TEST_F(AppDelegateTest, AResultThatTookLongIsPastedOnlyWhereNothingHasChanged) {
    const auto holds = [](const char* words, FocusKind focus = FocusKind::Editable, quint64 window = 5) {
        return AccessibleSelection{Kind::Text, QString::fromUtf8(words), false, false, focus, {window}};
    };
    const AccessibleSelection selected = holds("the excerpt"), other = holds("other");
    const AccessibleSelection nothing{Kind::Unavailable, {}, false, false, FocusKind::Unknown, {5}};
    const AccessibleSelection otherPart = holds("the excerpt", FocusKind::Terminal);
    const AccessibleSelection otherWindow = holds("the excerpt", FocusKind::Editable, 6);
    const char* const elsewhere = "another place";
    const char* const changed = "not what it was made from";
    const struct {
        const char* name;
        double took;
        AccessibleSelection at, then;
        quint64 front;
        const char* instruction;
        const char* told; // null: pasted
    } rows[] = {
        {"as it was", 1, selected, selected, 1, "make it short", nullptr},
        {"nobody says", 1, selected, nothing, 1, "make it short", nullptr},
        {"quick", 0.2, selected, other, 1, "make it short", nullptr},
        {"other words", 1, selected, other, 1, "make it short", changed},
        {"other part", 1, selected, otherPart, 1, "make it short", elsewhere},
        {"same words, other window", 1, selected, otherWindow, 1, "make it short", elsewhere},
        {"other application", 1, selected, selected, 9, "make it short", elsewhere},
        {"insert", 1, nothing, nothing, 1, "make a haiku", nullptr},
        {"insert, other window", 1, nothing, nothing, 9, "make a haiku", elsewhere},
        {"insert, selected since", 1, nothing, selected, 1, "make a haiku", changed},
    };
    writeProgram(paths.binDir + u"/ovalin-transform.sh"_s, "#!/bin/sh\necho done\n");
    writeProgram(home.filePath(u".local/bin/claude"_s), "#!/bin/sh\necho done\n");
    fake.pasteboard.lent = {true, std::chrono::milliseconds(200)};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fake.accessibility.answer = row.at;
        fake.workspace.front->window = {1};
        openSettled();
        typePrompt(QString::fromLatin1(row.instruction));
        dispatch.runAtOnce = false;
        replace();
        dispatch.runBackground();
        dispatch.runMain();
        dispatch.advance(row.took);
        fake.accessibility.answer = row.then;
        fake.workspace.front->window = {row.front};
        settle();
        dispatch.runAtOnce = true;
        EXPECT_FALSE(isOpen());
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

TEST_F(AppDelegateTest, WhatWasFoundOutForAnotherOpeningIsDropped) {
    dispatch.runAtOnce = false;
    for (int stage = 1; stage <= 3; ++stage) { // excerpt and page; owner and picture; its text
        SCOPED_TRACE(stage);
        tab = BrowserTab{u"http://localhost/"_s, QString()};
        siteIsOwned = true;
        png = QByteArrayLiteral("first");
        textOfPicture = [] { return u"text of the first"_s; };
        fake.accessibility.answer.text = u"of the first"_s;
        open();
        for (int i = 0; i < stage; ++i) {
            dispatch.runMain();
            dispatch.runBackground();
        }
        close(); // and the last results are on their way
        tab->url = u"http://127.0.0.1/"_s;
        siteIsOwned = false;
        png = QByteArrayLiteral("second");
        textOfPicture = [] { return std::nullopt; };
        fake.accessibility.answer.text = u"of the second"_s;
        dispatch.seconds += 1;
        delegate->toggle(); // open() would deliver them before
        dispatch.runMain();
        EXPECT_EQ(panel().previewView->excerpt(), QString());
        settle();
        EXPECT_EQ(panel().previewView->excerpt(), u"of the second"_s);
        EXPECT_TRUE(panel().replaceBtnRef->isHidden());
        submit(u"note this"_s);
        settle();
        ASSERT_EQ(queueFiles().size(), 1);
        EXPECT_FALSE(queued().contains(u"screen_text"_s));
        EXPECT_EQ(readFile(queued().value(u"screenshot"_s).toString()), "second");
        QFile::remove(paths.queueDir + QLatin1Char('/') + queueFiles().first());
    }
}

TEST_F(AppDelegateTest, ReplaceSubmitAndTheEndOfThePanelStopTheDictation) {
    FakeRecognizer recognizer;
    FakeMicrophone microphone;
    fake.desktop.microphone = &microphone;
    fake.desktop.speechRecognizer = &recognizer;
    restart();
    const std::function<void()> ends[] = {
        [&] { replace(); }, [&] { QTest::keyClick(panel().promptField, Qt::Key_Return); }, [&] { close(); }};
    for (size_t i = 0; i < std::size(ends); ++i) {
        openSettled();
        const QImage idle = panel().micButton->grab().toImage();
        QTest::mouseClick(panel().micButton, Qt::LeftButton);
        settle();
        ASSERT_TRUE(microphone.running && panel().micButton->isChecked());
        EXPECT_NE(panel().micButton->grab().toImage(), idle) << "seen";
        EXPECT_TRUE(panel().hintField->status().startsWith(u"listening"_s));
        ends[i]();
        EXPECT_FALSE(microphone.running) << i;
        close();
        settle();
    }
    delegate.reset();
}

TEST_F(AppDelegateTest, TheFocusIsInThePromptAfterReplaceAndOnlyOneOwnerLetsItBeSent) {
    openSettled();
    panel().replaceBtnRef->setFocus();
    replace();
    EXPECT_EQ(shown<CapturePanel>()->focusWidget(), panel().promptField);
    settle();
    EXPECT_EQ(shown<CapturePanel>()->focusWidget(), panel().promptField) << "nothing was typed yet";

    using Busy = CapturePanel::Busy;
    shown<CapturePanel>()->setBusy(Busy::Answering, true);
    shown<CapturePanel>()->setBusy(Busy::Replacing, true);
    shown<CapturePanel>()->setBusy(Busy::Answering, false);
    EXPECT_FALSE(panel().sendBtnRef->isEnabled()) << "an answer that ends while a text is being replaced";
    submit(u"note this"_s);
    EXPECT_TRUE(isOpen());
    shown<CapturePanel>()->setBusy(Busy::Replacing, false);
    EXPECT_TRUE(panel().sendBtnRef->isEnabled());
}

TEST_F(AppDelegateTest, TheClockTogglesTheListOfPastConversations) {
    openSettled();
    const auto click = [] { QTest::mouseClick(panel().historyBtnRef, Qt::LeftButton); };
    const auto picture = [] { return panel().historyBtnRef->grab().toImage(); };
    const QImage plain = picture();
    click();
    settle();
    EXPECT_TRUE(listIsOpen());
    EXPECT_NE(picture(), plain);
    click();
    EXPECT_FALSE(listIsOpen());
    EXPECT_EQ(picture(), plain);
    click();
    click(); // before the list has been read
    settle();
    EXPECT_FALSE(listIsOpen());

    click();
    settle();
    QTest::keyClick(shown<CapturePanel>()->windowHandle(), Qt::Key_Escape);
    EXPECT_FALSE(listIsOpen());
    ASSERT_TRUE(isOpen()) << "Escape closes the list first";
    click();
    settle();
    QTest::mouseClick(panel().helpBtn, Qt::LeftButton);
    EXPECT_FALSE(listIsOpen()) << "one card at a time";
    click();
    EXPECT_FALSE(shown<HowtoPanel>()) << "nor the other way";
    settle();
    QTest::mouseClick(panel().requestsBtn, Qt::LeftButton);
    settle();
    EXPECT_FALSE(listIsOpen());
    EXPECT_TRUE(shown<RequestsPanel>());
    close();
    settle();
    EXPECT_FALSE(listIsOpen());
}

TEST(Shown, AWindowThatIsGoneIsGoneForScreenReadersToo) {
    Shown<QWidget> window(new QWidget);
    const QAccessible::Id id = QAccessible::uniqueId(QAccessible::queryAccessibleInterface(window.get()));
    window.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(QAccessible::accessibleInterface(id), nullptr) << "the next window at its address would pass for it";
}

TEST(Shown, AWindowThatClosesTellsNothing) {
    struct Telling : QWidget {
        void hideEvent(QHideEvent*) override { setWindowTitle(u"an input method ends its word"_s); }
    };
    Shown<QWidget> window(new Telling);
    bool told = false;
    QObject::connect(window.get(), &QWidget::windowTitleChanged, window.get(), [&] { told = true; });
    window->show();
    window.reset();
    EXPECT_FALSE(told) << "who made it is on their way out";
}

TEST_F(AppDelegateTest, AConversationIsFoundByTabAndRemovedAtTheSecondPress) {
    const QString file = AskHistory::storePath(paths.systemDir);
    writeFile(file, R"({"sessions": [{"id": "a", "title": "Milk"}, {"id": "b", "title": "Café", "preview":
        [{"r": "you", "t": "where is the zebra?"}]}, {"id": "c", "title": "cafeteria"}]})");
    openSettled();
    QTest::mouseClick(panel().historyBtnRef, Qt::LeftButton);
    settle();
    const auto press = [](Qt::Key key) { QTest::keyClick(shown<CapturePanel>()->windowHandle(), key); };
    const auto rows = [] {
        QStringList titles;
        for (const ListRow* row : shown<HistoryPanel>()->rows())
            titles.append(row->id());
        return titles.join(QLatin1Char(' '));
    };
    typePrompt(u"x"_s);
    EXPECT_EQ(rows() + panel().promptField->text(), u"a b cx"_s) << "nothing but Tab leads into the field";
    press(Qt::Key_Tab);
    QInputMethodEvent composed; // which an input method sends to the prompt
    composed.setCommitString(u"c"_s);
    QCoreApplication::sendEvent(panel().promptField, &composed);
    settle();
    EXPECT_EQ(rows() + panel().promptField->text(), u"b cx"_s);
    for (const auto& [key, found] : {std::pair(Qt::Key_A, "b c"), {Qt::Key_Z, ""}}) {
        press(key);
        settle();
        EXPECT_EQ(rows(), QLatin1String(found));
    }
    press(Qt::Key_Backspace);
    press(Qt::Key_Backspace);
    settle();
    press(Qt::Key_Down);
    press(Qt::Key_Delete);
    settle();
    EXPECT_EQ(rows(), u"b c"_s) << "asked once";
    press(Qt::Key_Delete);
    settle();
    EXPECT_EQ(rows(), u"c"_s);
    EXPECT_FALSE(readFile(file).contains("zebra"));
    press(Qt::Key_Escape);
    settle();
    EXPECT_EQ(rows(), u"a c"_s) << "Escape ends the search first";
    press(Qt::Key_Tab); // out of the card
    press(Qt::Key_Backtab);
    press(Qt::Key_End);
    press(Qt::Key_Y);
    EXPECT_EQ(panel().promptField->text(), u"xy"_s);
    press(Qt::Key_Escape);
    EXPECT_FALSE(listIsOpen());
    EXPECT_TRUE(isOpen());
}

TEST_F(AppDelegateTest, TheNotificationOfARequestsEndLeadsToItsRow) {
    writeProgram(paths.routerScript, "#!/bin/sh\nid=$(basename \"$1\" .json)\nfolder=$(dirname \"$1\")\n"
                                     "sed -i 's/\"queued\"/\"ready\", \"result\": {\"summary\": \"noted\"}/' "
                                     "\"$folder/../captures.json\"\necho untold >> \"$folder/started/$id\"\n");
    writeFile(paths.routerLog, {}); // the shell's HOME is another one
    int sent = 0;
    for (const char* words : {"first", "second"}) {
        dispatch.wall = dispatch.wall.addSecs(1);
        openSettled();
        submit(QLatin1String(words));
        settle();
        ASSERT_EQ(queueFiles().size(), ++sent);
        const QString mark = paths.queueDir + u"/started/"_s + queued(sent - 1)[u"id"_s].toString();
        ASSERT_TRUE(waitUntil([&] { return readFile(mark).contains("untold"); }));
        EXPECT_TRUE(waitUntil([&] {
            settle();
            dispatch.advance(0.3);
            return fake.notifier.shown.size() == static_cast<size_t>(sent);
        })) << log.all();
    }
    EXPECT_EQ(fake.notifier.shown[0].title, u"Ovalin — ready"_s);
    EXPECT_EQ(fake.notifier.shown[0].body, u"noted — “first”"_s);
    ASSERT_FALSE(isOpen());
    dispatch.advance(1);
    fake.notifier.shown[0].onClick();
    settle();
    ASSERT_TRUE(isOpen());
    const auto* card = shown<RequestsPanel>();
    ASSERT_TRUE(card && card->rows().size() == 2);
    EXPECT_EQ(card->selectedRow(), card->rows()[1]);
}
