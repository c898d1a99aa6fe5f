// Real applications, a real clipboard, and what can go wrong between them.
#include "paste/PasteDesk.h"

using Kind = Target::Kind;

namespace ovalin {
void PrintTo(const PasteboardSnapshot& snapshot, std::ostream* out) {
    *out << (snapshot.owned ? "owned" : "no owner") << (snapshot.complete ? "" : ", not all of it");
    for (const auto& item : snapshot.items)
        *out << ", " << item.target.constData() << " " << item.bytes.size();
}
} // namespace ovalin

namespace {

struct PasteTest : testing::Test {
    QtDispatch dispatch;
    X11Desktop x11{dispatch};
    FakeNotifier notifier;
    Desktop real = x11.desktop();
    Desktop desktop{real.hotKeys,  real.workspace,     real.accessibility, real.pasteboard,
                    real.keyboard, real.keyboardHold,  real.panels,        real.selectionHints,
                    notifier,      real.sessionEvents, real.primaryGuard};
    PasteOver pasteOver{desktop, dispatch};
    OtherProgram other;
    LogRecorder log;

    ~PasteTest() override { dispatch.finish(); }

    void paste(const QString& text, const AppWindow& place) {
        const PasteWay way = real.keyboard.pasteWay(place, FocusKind::Unknown, true);
        pasteOver.pasteOverSelection({text, u"the editor"_s, place, way, {}});
    }
    /// Something is on the clipboard, and not for others.
    bool lent() {
        const PasteboardSnapshot seen = other.seen();
        return seen.owned && seen.items.empty();
    }
    /// Until the paste that was begun is over, and what it had to say was said.
    void finish() {
        bool over = false;
        std::thread waiter([&] {
            const std::lock_guard lock(desktop.pasteboard.inUse);
            dispatch.toMain([&] { over = true; });
        });
        waitUntil([&] { return over; });
        waiter.join();
    }
    bool clipboardIs(const SelectionContent& content) {
        return waitUntil([&] { return isOnClipboard(content); });
    }
    bool isOnClipboard(const SelectionContent& content) {
        const PasteboardSnapshot seen = other.seen();
        return std::ranges::all_of(
                   content,
                   [&](const PasteboardSnapshot::Item& item) {
                       return std::ranges::any_of(seen.items, [&](const PasteboardSnapshot::Item& found) {
                           return found.target == item.target && found.type == item.type && found.bytes == item.bytes;
                       });
                   }) &&
               seen.items.size() == content.size();
    }
    static bool textIs(const Target& target, const QString& text) {
        return waitUntil([&] { return target.text() == text; }, 15);
    }
};

} // namespace

TEST_F(PasteTest, ReplacesTheSelectionInEveryKindOfApplicationAndTheClipboardIsAsItWas) {
    const struct {
        Kind kind;
        const char *text, *name;
        bool empty = false; // the clipboard before
    } rows[] = {{Kind::Gtk, "Grüße, 世界 🙂\nzwei Zeilen", "GTK"},
                {Kind::Qt, "Grüße, 世界 🙂\nzwei Zeilen", "Qt", true},
                {Kind::Chromium, "Grüße, 世界 🙂", "Chromium"},
                {Kind::Terminal, "Gruss an alle", "terminal"}};
    const SelectionContent before = richContent();
    for (const auto& row : rows) {
        const Target target(row.kind, u"old words"_s);
        row.empty ? other.ownNothing() : other.own(before);
        paste(QString::fromUtf8(row.text), target.place());
        finish(); // no key of ours among those of the paste
        EXPECT_TRUE(textIs(target, QString::fromUtf8(row.text))) << row.name << ": " << target.text().toStdString();
        EXPECT_TRUE(row.empty ? waitUntil([&] { return !other.seen().owned; }) : clipboardIs(before))
            << row.name << ": " << testing::PrintToString(other.seen());
        if (row.kind == Kind::Gtk) {
            target.press(u"ctrl+z"_s);
            EXPECT_TRUE(textIs(target, u"old words"_s)) << "one undo: " << target.text().toStdString();
        }
    }
    EXPECT_TRUE(notifier.shown.empty()) << log.lines.join(u'\n').toStdString();
}

TEST_F(PasteTest, WhatTheUserCopiesMeanwhileStaysButAManagerThatTakesTheTextOverIsNoUser) {
    const Target target(Kind::Gtk, u"old"_s);
    for (const QString& copied : {u"newer"_s, u"new"_s}) {
        other.own(textContent(u"before"_s));
        paste(u"new"_s, target.place());
        ASSERT_TRUE(waitUntil([&] { return lent(); }));
        other.own(textContent(copied));
        finish();
        EXPECT_TRUE(waitUntil([&] { return other.seenText() == (copied == u"new"_s ? u"before"_s : copied); }));
    }
}

TEST_F(PasteTest, AStalledTargetGetsTheTextAndAWatchersRequestIsNotIts) {
    const Target target(Kind::Gtk, u"old"_s);
    other.own(textContent(u"before"_s));
    target.signal(SIGSTOP);
    paste(u"new"_s, target.place());
    const double start = dispatch.now();
    while (dispatch.now() < start + 1.2) // well over what a quick target is given
        EXPECT_NE(other.seenText(), u"new"_s) << "no clipboard history keeps it";
    EXPECT_TRUE(lent()) << "still waited for";
    target.signal(SIGCONT);
    EXPECT_TRUE(textIs(target, u"new"_s)) << target.text().toStdString();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == u"before"_s; }));
    EXPECT_TRUE(notifier.shown.empty());
}

TEST_F(PasteTest, ATargetThatNeverAsksLeavesTheTextOnTheClipboardAndTheUserIsTold) {
    const Target target(Kind::Gtk, u"old"_s);
    other.own(textContent(u"before"_s));
    target.signal(SIGSTOP);
    paste(u"new"_s, target.place());
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); }));
    EXPECT_EQ(other.seenText(), u"new"_s);
    EXPECT_TRUE(notifier.shown.at(0).title.contains(u"on the clipboard"_s));
    target.signal(SIGCONT);
    EXPECT_TRUE(textIs(target, u"new"_s)) << "and has it when it asks after all";
    notifier.shown.at(0).onAction();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == u"before"_s; }));
    notifier.shown.at(0).onSecond();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == u"new"_s; }));
    other.own(textContent(u"newer"_s));
    notifier.shown.at(0).onAction();
    finish();
    EXPECT_EQ(other.seenText(), u"newer"_s) << "what the user copied since";
}

TEST_F(PasteTest, AWindowThatIsGoneGetsNothingAndNorDoesAnyOther) {
    const Target neighbour(Kind::Gtk, u"the neighbour"_s);
    AppWindow gone;
    {
        const Target target(Kind::Gtk, u"old"_s);
        gone = target.place();
    }
    other.own(textContent(u"before"_s));
    paste(u"new"_s, gone);
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); }));
    EXPECT_EQ(other.seenText(), u"new"_s);
    EXPECT_EQ(neighbour.text(), u"the neighbour"_s);
}

TEST_F(PasteTest, TheCapturedWindowComesToTheFrontFirst) {
    const Target target(Kind::Gtk, u"old"_s);
    const AppWindow place = target.place();
    const Target neighbour(Kind::Gtk, u"the neighbour"_s);
    desk().xdotool({u"windowactivate"_s, u"--sync"_s, target.window});
    target.selectAll(); // it let go of its selection when the neighbour selected something
    desk().xdotool({u"windowminimize"_s, u"--sync"_s, target.window});
    desk().xdotool({u"windowactivate"_s, u"--sync"_s, neighbour.window});
    other.own(textContent(u"before"_s));
    desk().xdo(u"keydown shift"_s); // a finger that is still down
    paste(u"new"_s, place);
    EXPECT_TRUE(waitUntil([&] { return lent(); }));
    finish();
    desk().xdo(u"keyup shift"_s);
    EXPECT_TRUE(textIs(target, u"new"_s)) << target.text().toStdString();
    EXPECT_EQ(other.seenText(), u"before"_s);
}

TEST_F(PasteTest, AClipboardOwnerThatNeverAnswersDoesNotPreventThePaste) {
    const Target target(Kind::Gtk, u"old"_s);
    writeFile(desk().path(u"held"_s), "unreadable");
    QProcess& hung = desk().start(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s, desk().path(u"held"_s)});
    ASSERT_TRUE(waitUntil([&] { return other.seenText() == u"unreadable"_s; }));
    ::kill(static_cast<pid_t>(hung.processId()), SIGSTOP);
    paste(u"new"_s, target.place());
    finish();
    EXPECT_TRUE(textIs(target, u"new"_s));
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); })) << "the user is told what he lost";
    EXPECT_FALSE(other.seen().owned);
    desk().end(hung);
}

TEST_F(PasteTest, TenMegabytesArriveWholeAndTheClipboardDoesNotWaitForThem) {
    const Target target(Kind::Gtk, u"old"_s);
    other.own(textContent(u"before"_s));
    QString text;
    while (text.size() < 10'000'000)
        text += u"A line of text that is neither short nor long. Grüße %1\n"_s.arg(text.size());
    paste(text, target.place());
    finish(); // no key of ours among those of the paste
    EXPECT_EQ(other.seenText(), u"before"_s);
    EXPECT_TRUE(waitUntil([&] { return target.text() == text.trimmed(); }, 60)) << log.lines.join(u'\n').toStdString();
}
