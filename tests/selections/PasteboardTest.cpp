#include "XSide.h"

#include "platform/x11/selections/SelectionServer.h"

#include <QApplication>
#include <QBuffer>
#include <QImage>

#include <gtest/gtest.h>

#include <thread>

using namespace ovalin;
using namespace std::chrono_literals;
using Freshness = Pasteboard::Freshness;
using Selection = Pasteboard::Selection;

namespace {

/// Limits that a slow machine keeps, for tests that are not about them.
constexpr PasteboardLimits PATIENT{20s, 20s, {20s, 32 * 1024 * 1024}};

struct PasteboardTest : testing::Test {
    PasteboardTest() { settle(thread); }
    ~PasteboardTest() override {
        pasteboard.restore({false, {}, ~quint64{0}}); // the next test finds no owner
    }

    /// An xclip that owns the selection with these bytes.
    std::unique_ptr<Program> owner(const QByteArray& bytes, const QString& selection = QStringLiteral("clipboard"),
                                   const QString& target = QStringLiteral("UTF8_STRING")) {
        const QString file = desk().path(QStringLiteral("content-") + selection);
        writeFile(file, bytes);
        const QStringList arguments{
            QStringLiteral("-quiet"), QStringLiteral("-selection"), selection, QStringLiteral("-t"), target, file};
        auto program = std::make_unique<Program>(QStringLiteral("xclip"), arguments);
        const xcb_atom_t atom =
            selection == QStringLiteral("primary") ? xcb_atom_t{XCB_ATOM_PRIMARY} : server.atom("CLIPBOARD");
        EXPECT_TRUE(waitUntil([&] { return ownerPid(atom) == program->pid(); }));
        settle(thread);
        return program;
    }

    qint32 ownerPid(xcb_atom_t selection) {
        const XReply<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(server.get(), xcb_get_selection_owner(server.get(), selection), nullptr));
        return reply ? server.clientPid(reply->owner) : 0;
    }

    /// The clipboard as another program gets it, byte by byte.
    static QByteArray pasted(const QString& target) {
        const QString file = desk().path(QStringLiteral("pasted"));
        desk().output(
            QStringLiteral("sh"),
            {QStringLiteral("-c"), QStringLiteral("xclip -o -selection clipboard -t \"$0\" > \"$1\""), target, file});
        return readFile(file);
    }

    XConnection server;
    XThread thread;
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors{thread, clock, synthetic};
    X11Pasteboard pasteboard{thread, clock, PATIENT};
};

QByteArray largeText() {
    QByteArray text;
    for (int line = 0; text.size() < 4 * 1024 * 1024; ++line)
        text += "line " + QByteArray::number(line) + " äöü\n";
    return text;
}

QByteArray noisyPng() {
    QImage image(300, 300, QImage::Format_RGB32);
    quint32 state = 1;
    for (int i = 0; i < 300 * 300; ++i)
        image.setPixel(i % 300, i / 300, state = state * 1664525 + 1013904223);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

} // namespace

TEST_F(PasteboardTest, ReadsTextWholeHoweverLarge) {
    for (const QByteArray& text : {QByteArray("Grüße 🙂"), largeText()}) {
        const quint64 before = pasteboard.changeCount();
        const auto xclip = owner(text);
        EXPECT_GT(pasteboard.changeCount(), before);
        EXPECT_EQ(pasteboard.text(), QString::fromUtf8(text));
    }
}

TEST_F(PasteboardTest, FallsBackToPlainString) {
    const auto xclip = owner("Gr\xfc\xdf"
                             "e",
                             QStringLiteral("clipboard"), QStringLiteral("STRING"));
    EXPECT_EQ(pasteboard.text(), QStringLiteral("Grüße"));
}

TEST_F(PasteboardTest, APictureIsNoText) {
    const auto xclip = owner(noisyPng(), QStringLiteral("clipboard"), QStringLiteral("image/png"));
    EXPECT_EQ(pasteboard.text(), std::nullopt);
}

TEST_F(PasteboardTest, SnapshotsComeBackByteForByte) {
    const struct {
        QByteArray bytes;
        QString target;
    } rows[] = {{"short", QStringLiteral("UTF8_STRING")},
                {"<b>x</b>", QStringLiteral("text/html")},
                {QByteArray("a\0b", 3), QStringLiteral("application/x-thing")},
                {noisyPng(), QStringLiteral("image/png")},
                {largeText(), QStringLiteral("UTF8_STRING")}};
    for (const auto& row : rows) {
        const auto original = owner(row.bytes, QStringLiteral("clipboard"), row.target);
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

TEST_F(PasteboardTest, ServesUntilSomebodyElseCopies) {
    const auto first = owner("mine");
    const auto snapshot = pasteboard.snapshot();
    const auto second = owner("copied");
    pasteboard.restore(*snapshot);
    EXPECT_EQ(pasted(QStringLiteral("UTF8_STRING")), "mine");
    const auto third = owner("newer");
    EXPECT_EQ(pasted(QStringLiteral("UTF8_STRING")), "newer");
    pasteboard.restore(*snapshot);
    EXPECT_EQ(pasted(QStringLiteral("UTF8_STRING")), "mine");
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
    xclip->signal(SIGSTOP);
    EXPECT_EQ(hasty.text(), std::nullopt);
    EXPECT_FALSE(hasty.snapshot());
    xclip->signal(SIGCONT);
    // Its late answers are taken for nothing, and do it no harm.
    EXPECT_EQ(pasteboard.text(), QStringLiteral("slow"));
    EXPECT_EQ(xclip->process.state(), QProcess::Running);
}

TEST_F(PasteboardTest, OneHungOwnerHoldsUpNobodyElse) {
    const auto hung = owner("hung", QStringLiteral("primary"));
    const auto quick = owner("quick");
    hung->signal(SIGSTOP);
    std::atomic<bool> answered = false;
    std::thread worker([&] {
        EXPECT_EQ(pasteboard.primaryText(hung->pid(), Freshness::Any), QStringLiteral("hung"));
        answered = true;
    });
    EXPECT_EQ(pasteboard.text(), QStringLiteral("quick"));
    desk().xdotool({QStringLiteral("key"), QStringLiteral("x")});
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
    EXPECT_EQ(got, QStringLiteral("for the field"));
}

TEST_F(PasteboardTest, PrimaryIsReadOfTheAskedProcessOnly) {
    const auto xclip = owner("x", QStringLiteral("primary"));
    EXPECT_EQ(pasteboard.primaryText(xclip->pid(), Freshness::Any), QStringLiteral("x"));
    EXPECT_EQ(pasteboard.primaryText(static_cast<qint32>(::getpid()), Freshness::Any), std::nullopt);
    xclip->signal(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return ownerPid(XCB_ATOM_PRIMARY) == 0; }));
    EXPECT_EQ(pasteboard.primaryText(0, Freshness::Any), std::nullopt) << "no owner is nobody's process";
}

TEST_F(PasteboardTest, ATerminalsHighlightIsFreshUntilAClickIntoItOrTyping) {
    const QStringList shell{QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                            QStringLiteral("echo selectedword; exec sleep 1000")};
    const Program xterm(QStringLiteral("xterm"),
                        QStringList{QStringLiteral("-geometry"), QStringLiteral("40x10+50+50"), QStringLiteral("-xrm"),
                                    QStringLiteral("*multiClickTime: 1")} + // each click stands alone
                            shell);
    const QString window = desk().waitForWindow(QStringLiteral("xterm"));
    const auto xdo = [&](const QString& arguments) {
        desk().xdotool(QString(arguments).replace(QStringLiteral("WINDOW"), window).split(QLatin1Char(' ')));
        settle(thread);
    };
    const auto fresh = [&] {
        return pasteboard.primaryText(xterm.pid(), Freshness::SinceLastInput).value_or(QString()).trimmed();
    };
    const auto selects = [&] {
        return waitUntil([&] { // the word is there when it can be selected
            xdo(QStringLiteral("mousemove --window WINDOW 3 8 mousedown 1 mousemove --window WINDOW 230 8 mouseup 1"));
            return fresh() == QStringLiteral("selectedword");
        });
    };
    ASSERT_TRUE(selects());
    for (const char* harmless : {"key alt+F9 click 5", "key shift+Prior", "mousemove 1000 700 click 1"}) {
        xdo(QString::fromLatin1(harmless));
        EXPECT_EQ(fresh(), QStringLiteral("selectedword")) << harmless;
    }
    for (const char* ends : {"mousemove --window WINDOW 20 60 click 1", "windowactivate --sync WINDOW key x"}) {
        ASSERT_TRUE(selects());
        xdo(QString::fromLatin1(ends));
        EXPECT_EQ(fresh(), QString()) << ends;
    }
}

TEST_F(PasteboardTest, AnEditorsSelectionFollowsTheKeysAndGoesWhenDeselected) {
    const QString file = desk().path(QStringLiteral("note.txt"));
    writeFile(file, "alpha beta");
    const Program mousepad(QStringLiteral("mousepad"), {QStringLiteral("--disable-server"), file});
    const QString window = desk().waitForWindow(QStringLiteral("note.txt"), 40);
    ASSERT_FALSE(window.isEmpty());
    const auto keys = [&](const QString& chord) {
        desk().xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window, QStringLiteral("key"), chord});
        settle(thread);
    };
    const auto fresh = [&] {
        return pasteboard.primaryText(mousepad.pid(), Freshness::SinceLastInput).value_or(QString());
    };
    ASSERT_TRUE(waitUntil(
        [&] {
            keys(QStringLiteral("ctrl+a"));
            return fresh() == QStringLiteral("alpha beta");
        },
        40));
    keys(QStringLiteral("ctrl+Home"));
    EXPECT_TRUE(waitUntil([&] { return ownerPid(XCB_ATOM_PRIMARY) == 0; }));
    EXPECT_EQ(fresh(), QString());
    keys(QStringLiteral("shift+Right"));
    EXPECT_TRUE(waitUntil([&] { return fresh() == QStringLiteral("a"); }));
}

TEST_F(PasteboardTest, ASelectionFromBeforeOurStartIsFreshUntilAPress) {
    XThread ownerThread;
    std::unique_ptr<SelectionServer> earlier;
    ownerThread.runAndWait([&] {
        earlier = std::make_unique<SelectionServer>(ownerThread, XCB_ATOM_PRIMARY);
        EXPECT_TRUE(earlier->own(textContent(QStringLiteral("earlier"))));
    });
    XThread lateThread;
    ActivityClock lateClock;
    X11Monitors lateMonitors(lateThread, lateClock, synthetic);
    X11Pasteboard late(lateThread, lateClock, PATIENT);
    const auto read = [&](Freshness freshness) {
        settle(lateThread);
        return late.primaryText(static_cast<qint32>(::getpid()), freshness).value_or(QString());
    };
    EXPECT_EQ(read(Freshness::SinceLastInput), QStringLiteral("earlier"));
    desk().xdotool({QStringLiteral("key"), QStringLiteral("x")});
    EXPECT_EQ(read(Freshness::SinceLastInput), QString());
    EXPECT_EQ(read(Freshness::Any), QStringLiteral("earlier"));
    ownerThread.runAndWait([&] { earlier.reset(); });
}
