#include "XSide.h"

#include "platform/x11/selections/SelectionServer.h"

#include <thread>

using Freshness = Pasteboard::Freshness;
using Selection = Pasteboard::Selection;

namespace {

/// Limits that a slow machine keeps, for tests that are not about them.
constexpr PasteboardLimits PATIENT{20s, 20s, {20s, 32 * 1024 * 1024}};

struct PasteboardTest : testing::Test, XSide {
    PasteboardTest()
        : XSide({}, PATIENT) {
        settle(thread);
    }
    ~PasteboardTest() override {
        pasteboard.restore({false, {}, ~quint64{0}}); // the next test finds no owner
    }

    /// An xclip that owns the selection with these bytes.
    std::unique_ptr<Program> owner(const QByteArray& bytes, const QString& selection = u"clipboard"_s,
                                   const QString& target = u"UTF8_STRING"_s) {
        const QString file = desk().path(u"content-"_s + selection);
        writeFile(file, bytes);
        const QStringList arguments{u"-quiet"_s, u"-selection"_s, selection, u"-t"_s, target, file};
        auto program = std::make_unique<Program>(u"xclip"_s, arguments);
        const xcb_atom_t atom = selection == u"primary"_s ? xcb_atom_t{XCB_ATOM_PRIMARY} : server.atom("CLIPBOARD");
        EXPECT_TRUE(waitUntil([&] { return ownerPid(atom) == program->pid(); }));
        settle(thread);
        return program;
    }

    qint32 ownerPid(xcb_atom_t selection) {
        const XReply<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(server.get(), xcb_get_selection_owner(server.get(), selection), nullptr));
        return reply ? WindowOwners(server.get()).ownerOf(reply->owner) : 0;
    }

    /// The clipboard as another program gets it, byte by byte.
    static QByteArray pasted(const QString& target) {
        const QString file = desk().path(u"pasted"_s);
        desk().output(u"sh"_s, {u"-c"_s, u"xclip -o -selection clipboard -t \"$0\" > \"$1\""_s, target, file});
        return readFile(file);
    }

    XConnection server;
};

const QByteArray& largeText() {
    static const QByteArray text = [] {
        QByteArray lines;
        for (int line = 0; lines.size() < 4 * 1024 * 1024; ++line)
            lines += "line " + QByteArray::number(line) + " äöü\n";
        return lines;
    }();
    return text;
}

const QByteArray PICTURE = "\x89PNG" + QByteArray(300'000, '\7');

} // namespace

TEST_F(PasteboardTest, TextIsReadWholeHoweverLargeAndAPictureIsNone) {
    const struct {
        QByteArray bytes;
        const char* target;
        std::optional<QString> text;
    } rows[] = {{"Grüße 🙂", "UTF8_STRING", u"Grüße 🙂"_s},
                {largeText(), "UTF8_STRING", QString::fromUtf8(largeText())},
                {"Gr\xfc\xdf\x65", "STRING", u"Grüße"_s},
                {PICTURE, "image/png", {}}};
    for (const auto& row : rows) {
        const quint64 before = pasteboard.changeCount();
        const auto xclip = owner(row.bytes, u"clipboard"_s, QString::fromLatin1(row.target));
        EXPECT_GT(pasteboard.changeCount(), before);
        EXPECT_EQ(pasteboard.text(), row.text) << row.target;
    }
}

TEST_F(PasteboardTest, SnapshotsComeBackByteForByte) {
    const struct {
        QByteArray bytes;
        QString target;
    } rows[] = {{"short", u"UTF8_STRING"_s},
                {"<b>x</b>", u"text/html"_s},
                {QByteArray("a\0b", 3), u"application/x-thing"_s},
                {PICTURE, u"image/png"_s},
                {largeText(), u"UTF8_STRING"_s}};
    for (const auto& row : rows) {
        const auto original = owner(row.bytes, u"clipboard"_s, row.target);
        auto snapshot = pasteboard.snapshot();
        ASSERT_TRUE(snapshot) << row.target.toStdString();
        const auto other = owner("the copied selection");
        pasteboard.restore(*snapshot);
        EXPECT_EQ(ownerPid(server.atom("CLIPBOARD")), static_cast<qint32>(::getpid()));
        EXPECT_EQ(pasted(row.target), row.bytes) << row.target.toStdString();

        const auto again = pasteboard.snapshot(); // of what we serve ourselves
        ASSERT_TRUE(again);
        ASSERT_EQ(again->items.size(), snapshot->items.size());
        EXPECT_EQ(again->items[0].bytes, snapshot->items[0].bytes);
    }
}

TEST_F(PasteboardTest, ACopyThatWasAskedForIsReadAndGoneBeforeAnybodyElseReadsIt) {
    for (const bool owned : {true, false}) {
        if (owned)
            pasteboard.restore({true, textContent(u"mine"_s), ~quint64{0}});
        const auto before = pasteboard.snapshot();
        ASSERT_TRUE(before);
        pasteboard.catchCopy(before, 0);
        {
            const QStringList copied{u"-quiet"_s, u"-selection"_s, u"clipboard"_s, desk().path(u"copied"_s)};
            writeFile(desk().path(u"copied"_s), "the answer");
            const Program application(u"xclip"_s, copied);
            ASSERT_TRUE(waitUntil([&] { return pasteboard.changeCount() > before->changeCount + 1; })) << owned;
            EXPECT_EQ(pasted(u"UTF8_STRING"_s), owned ? "mine" : "");
            EXPECT_EQ(pasteboard.text(), u"the answer"_s);
        }
        const quint64 changes = pasteboard.changeCount();
        pasteboard.restore(*before);
        EXPECT_EQ(pasteboard.changeCount(), changes) << "it is there already";
        pasteboard.restore({false, {}, ~quint64{0}});
    }
    const struct {
        bool inputIsSeen, pressed, ofTheUser;
    } rows[] = {{true, false, false}, {true, true, true}, {false, false, true}};
    for (const auto& row : rows) {
        pasteboard.restore({true, textContent(u"mine"_s), ~quint64{0}});
        const auto before = pasteboard.snapshot();
        clock.setWatching(row.inputIsSeen);
        pasteboard.catchCopy(before, 0);
        pasteboard.restore(*before); // nothing has come
        if (row.pressed)
            clock.pressed(1);
        const quint64 changes = pasteboard.changeCount();
        const Program late(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s, desk().path(u"copied"_s)});
        ASSERT_TRUE(waitUntil([&] { return pasteboard.changeCount() > changes + (row.ofTheUser ? 0 : 1); }));
        EXPECT_EQ(pasted(u"UTF8_STRING"_s), row.ofTheUser ? "the answer" : "mine") << row.inputIsSeen;
    }
    pasteboard.catchCopy(pasteboard.snapshot(), ::getpid());
    const auto other = owner("of another program");
    settle(thread);
    EXPECT_EQ(pasted(u"UTF8_STRING"_s), "of another program");
}

TEST_F(PasteboardTest, AnUntouchedClipboardStaysWithItsOwner) {
    const auto xclip = owner("mine");
    pasteboard.restore(*pasteboard.snapshot());
    EXPECT_EQ(ownerPid(server.atom("CLIPBOARD")), xclip->pid());
}

TEST_F(PasteboardTest, NoOwnerBeforeMeansNoOwnerAfter) {
    const auto snapshot = pasteboard.snapshot();
    ASSERT_TRUE(snapshot);
    EXPECT_FALSE(snapshot->owned);
    const auto xclip = owner("copied");
    pasteboard.restore(*snapshot);
    EXPECT_EQ(ownerPid(server.atom("CLIPBOARD")), 0);
}

TEST_F(PasteboardTest, AHungOwnerCostsTheDeadlineAndNothingElse) {
    X11Pasteboard hasty(thread, clock, {});
    const auto xclip = owner("slow");
    {
        const Stopped stopped(xclip->process);
        EXPECT_EQ(hasty.text(), std::nullopt);
        EXPECT_FALSE(hasty.snapshot());
    }
    // Its late answers are taken for nothing, and do it no harm.
    EXPECT_EQ(pasteboard.text(), u"slow"_s);
    EXPECT_EQ(xclip->process.state(), QProcess::Running);
}

TEST_F(PasteboardTest, OneHungOwnerHoldsUpNobodyElse) {
    const auto hung = owner("hung", u"primary"_s);
    const auto quick = owner("quick");
    hung->signal(SIGSTOP);
    std::atomic<bool> answered = false;
    std::thread worker([&] {
        EXPECT_EQ(pasteboard.primaryText(hung->pid(), Freshness::Any), u"hung"_s);
        answered = true;
    });
    EXPECT_EQ(pasteboard.text(), u"quick"_s);
    desk().xdo(u"key x"_s);
    settle(thread);
    EXPECT_TRUE(clock.read().lastPress) << "input is followed meanwhile";
    EXPECT_FALSE(answered);
    hung->signal(SIGCONT);
    worker.join();
}

TEST_F(PasteboardTest, AnOwnerThatDiesEndsTheReadAtOnce) {
    X11Pasteboard veryPatient(thread, clock, {1h, 1h, {1h, 32 * 1024 * 1024}});
    const std::function<bool()> reads[] = {[&] { return !veryPatient.text(); },
                                           [&] {
                                               const auto snapshot = veryPatient.snapshot();
                                               return !snapshot || !snapshot->owned; // it may die before the question
                                           }};
    for (const auto& nothingRead : reads) {
        const auto xclip = owner(largeText());
        xclip->signal(SIGSTOP);
        const quint64 before = thread.wakeups();
        std::atomic<bool> nothing = false;
        std::thread worker([&] { nothing = nothingRead(); });
        EXPECT_TRUE(waitUntil([&] { return thread.wakeups() > before; }));
        settle(thread);
        xclip->signal(SIGKILL);
        worker.join();
        EXPECT_TRUE(nothing);
    }
}

TEST_F(PasteboardTest, ASnapshotOverItsBudgetIsAbsent) {
    X11Pasteboard small(thread, clock, {20s, 20s, {20s, 1024 * 1024}});
    {
        const auto xclip = owner(largeText());
        EXPECT_FALSE(small.snapshot()) << "piece by piece";
    }
    const auto xclip = owner(QByteArray(900 * 1024, 'x'));
    EXPECT_TRUE(small.snapshot());
}

TEST_F(PasteboardTest, TextForOurOwnFieldsComesWhileTheFieldLives) {
    const auto xclip = owner("for the field");
    QString got;
    auto gone = std::make_unique<QObject>();
    pasteboard.readText(Selection::Clipboard, gone.get(), [](const QString&) { FAIL() << "the field is gone"; });
    gone.reset();
    pasteboard.readText(Selection::Primary, qApp, [](const QString&) { FAIL() << "nobody owns PRIMARY"; });
    pasteboard.readText(Selection::Clipboard, qApp, [&](const QString& text) { got = text; });
    EXPECT_TRUE(waitUntil([&] { return !got.isEmpty(); }));
    EXPECT_EQ(got, u"for the field"_s);
}

TEST_F(PasteboardTest, PrimaryIsReadOfTheAskedProcessOnly) {
    const auto xclip = owner("x", u"primary"_s);
    EXPECT_EQ(pasteboard.primaryText(xclip->pid(), Freshness::Any), u"x"_s);
    EXPECT_EQ(pasteboard.primaryText(static_cast<qint32>(::getpid()), Freshness::Any), std::nullopt);
    xclip->signal(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return ownerPid(XCB_ATOM_PRIMARY) == 0; }));
    EXPECT_EQ(pasteboard.primaryText(0, Freshness::Any), std::nullopt) << "no owner is nobody's process";
}

TEST_F(PasteboardTest, PrimaryIsReadOfAnOwnerThatTakesItAnewWhenItIsAsked) {
    const xcb_window_t window = server.makeHiddenWindow(0);
    const auto take = [&] { xcb_set_selection_owner(server.get(), window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME); };
    take();
    ASSERT_EQ(ownerPid(XCB_ATOM_PRIMARY), static_cast<qint32>(::getpid()));
    settle(thread);
    std::thread owner([&] {
        xcb_selection_notify_event_t answer{};
        for (XReply<xcb_generic_event_t> event; answer.response_type == 0;) {
            event.reset(xcb_wait_for_event(server.get()));
            if (!event || (event->response_type & 0x7f) != XCB_SELECTION_REQUEST)
                continue;
            const auto& asked = reinterpret_cast<const xcb_selection_request_event_t&>(*event);
            take();
            xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, asked.requestor, asked.property, asked.target, 8,
                                5, "shown");
            answer = {XCB_SELECTION_NOTIFY, 0, 0, asked.time, asked.requestor, asked.selection, asked.target,
                      asked.property};
            xcb_send_event(server.get(), 0, asked.requestor, 0, reinterpret_cast<const char*>(&answer));
            xcb_flush(server.get());
        }
    });
    EXPECT_EQ(pasteboard.primaryText(::getpid(), Freshness::Any), u"shown"_s);
    owner.join();
}

TEST_F(PasteboardTest, ATerminalsHighlightIsFreshUntilAClickIntoItOrTyping) {
    const QStringList shell{u"-e"_s, u"sh"_s, u"-c"_s, u"echo selectedword; exec sleep 1000"_s};
    const Program xterm(u"xterm"_s, QStringList{u"-geometry"_s, u"40x10+50+50"_s, u"-xrm"_s,
                                                u"*multiClickTime: 1"_s} + // each click stands alone
                                        shell);
    const QString window = desk().waitForWindow(u"xterm"_s);
    const auto xdo = [&](const QString& arguments) {
        desk().xdotool(QString(arguments).replace(u"WINDOW"_s, window).split(u' '));
        settle(thread);
    };
    const auto fresh = [&] {
        return pasteboard.primaryText(xterm.pid(), Freshness::SinceLastInput).value_or(QString()).trimmed();
    };
    const auto selects = [&] {
        return waitUntil([&] { // the word is there when it can be selected
            xdo(u"mousemove --window WINDOW 3 8 mousedown 1 mousemove --window WINDOW 230 8 mouseup 1"_s);
            return fresh() == u"selectedword"_s;
        });
    };
    ASSERT_TRUE(selects());
    for (const char* harmless : {"key alt+F9 click 5", "key shift+Prior", "mousemove 1000 700 click 1"}) {
        xdo(QString::fromLatin1(harmless));
        EXPECT_EQ(fresh(), u"selectedword"_s) << harmless;
    }
    for (const char* ends : {"mousemove --window WINDOW 20 60 click 1", "windowactivate --sync WINDOW key x"}) {
        ASSERT_TRUE(selects());
        xdo(QString::fromLatin1(ends));
        EXPECT_EQ(fresh(), QString()) << ends;
    }
}

TEST_F(PasteboardTest, ASelectionFromBeforeOurStartIsFreshUntilAPress) {
    XThread ownerThread;
    std::unique_ptr<SelectionServer> earlier;
    ownerThread.runAndWait([&] {
        earlier = std::make_unique<SelectionServer>(ownerThread, XCB_ATOM_PRIMARY);
        EXPECT_TRUE(earlier->own(textContent(u"earlier"_s)));
    });
    XSide late({}, PATIENT);
    const auto read = [&](Freshness freshness) {
        settle(late.thread);
        return late.pasteboard.primaryText(static_cast<qint32>(::getpid()), freshness).value_or(QString());
    };
    EXPECT_EQ(read(Freshness::SinceLastInput), u"earlier"_s);
    desk().xdo(u"key x"_s);
    EXPECT_EQ(read(Freshness::SinceLastInput), QString());
    EXPECT_EQ(read(Freshness::Any), u"earlier"_s);
    ownerThread.runAndWait([&] { earlier.reset(); });
}
