// Real applications, a real clipboard, and what can go wrong between them.
#include "paste/PasteDesk.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace ovalin;
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
    Desktop desktop{real.hotKeys,      real.workspace,     real.accessibility, real.pasteboard,    real.keyboard,
                    real.keyboardHold, real.eventMonitors, notifier,           real.sessionEvents, real.primaryGuard};
    PasteOver pasteOver{desktop, dispatch};
    OtherProgram other;
    LogRecorder log;

    ~PasteTest() override { dispatch.finish(); }

    void paste(const QString& text, const AppWindow& place) {
        const PasteWay way = real.keyboard.pasteWay(place, FocusKind::Unknown, true);
        pasteOver.pasteOverSelection({text, QStringLiteral("the editor"), place, way, {}});
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
        const char* text;
        const char* name;
    } rows[] = {{Kind::Gtk, "Grüße, 世界 🙂\nzwei Zeilen", "GTK"},
                {Kind::Qt, "Grüße, 世界 🙂\nzwei Zeilen", "Qt"},
                {Kind::Chromium, "Grüße, 世界 🙂", "Chromium"},
                {Kind::Terminal, "Gruss an alle", "terminal"}};
    const SelectionContent before = richContent();
    for (const auto& row : rows) {
        const Target target(row.kind, QStringLiteral("old words"));
        other.own(before);
        paste(QString::fromUtf8(row.text), target.place());
        EXPECT_TRUE(textIs(target, QString::fromUtf8(row.text))) << row.name << ": " << target.text().toStdString();
        EXPECT_TRUE(clipboardIs(before)) << row.name << ": " << testing::PrintToString(other.seen());
        if (row.kind == Kind::Gtk) {
            target.press(QStringLiteral("ctrl+z"));
            EXPECT_TRUE(textIs(target, QStringLiteral("old words"))) << "one undo: " << target.text().toStdString();
        }
    }
    EXPECT_TRUE(notifier.shown.empty()) << log.lines.join(u'\n').toStdString();
}

TEST_F(PasteTest, AClipboardThatWasEmptyIsEmptyAfterwards) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.ownNothing();
    paste(QStringLiteral("new"), target.place());
    EXPECT_TRUE(textIs(target, QStringLiteral("new")));
    EXPECT_TRUE(waitUntil([&] { return !other.seen().owned; }));
}

TEST_F(PasteTest, WhatTheUserCopiesMeanwhileStays) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.own(textContent(QStringLiteral("before")));
    paste(QStringLiteral("new"), target.place());
    ASSERT_TRUE(waitUntil([&] { return lent(); }));
    other.own(textContent(QStringLiteral("newer")));
    finish();
    EXPECT_EQ(other.seenText(), QStringLiteral("newer"));
}

TEST_F(PasteTest, AManagerThatTakesTheTextOverIsNoUser) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.own(textContent(QStringLiteral("before")));
    paste(QStringLiteral("new"), target.place());
    ASSERT_TRUE(waitUntil([&] { return lent(); }));
    other.own(textContent(QStringLiteral("new")));
    EXPECT_TRUE(textIs(target, QStringLiteral("new")));
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("before"); }));
}

TEST_F(PasteTest, AStalledTargetGetsTheTextAndAWatchersRequestIsNotIts) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.own(textContent(QStringLiteral("before")));
    target.signal(SIGSTOP);
    paste(QStringLiteral("new"), target.place());
    const double start = dispatch.now();
    while (dispatch.now() < start + 1.2) // well over what a quick target is given
        EXPECT_NE(other.seenText(), QStringLiteral("new")) << "no clipboard history keeps it";
    EXPECT_TRUE(lent()) << "still waited for";
    target.signal(SIGCONT);
    EXPECT_TRUE(textIs(target, QStringLiteral("new"))) << target.text().toStdString();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("before"); }));
    EXPECT_TRUE(notifier.shown.empty());
}

TEST_F(PasteTest, ATargetThatNeverAsksLeavesTheTextOnTheClipboardAndTheUserIsTold) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.own(textContent(QStringLiteral("before")));
    target.signal(SIGSTOP);
    paste(QStringLiteral("new"), target.place());
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); }));
    EXPECT_EQ(other.seenText(), QStringLiteral("new"));
    EXPECT_TRUE(notifier.shown.at(0).title.contains(QStringLiteral("on the clipboard")));
    target.signal(SIGCONT);
    EXPECT_TRUE(textIs(target, QStringLiteral("new"))) << "and has it when it asks after all";
    notifier.shown.at(0).onAction();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("before"); }));
    notifier.shown.at(0).onSecond();
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("new"); }));
    other.own(textContent(QStringLiteral("newer")));
    notifier.shown.at(0).onAction();
    finish();
    EXPECT_EQ(other.seenText(), QStringLiteral("newer")) << "what the user copied since";
}

TEST_F(PasteTest, AWindowThatIsGoneGetsNothingAndNorDoesAnyOther) {
    const Target neighbour(Kind::Gtk, QStringLiteral("the neighbour"));
    AppWindow gone;
    {
        const Target target(Kind::Gtk, QStringLiteral("old"));
        gone = target.place();
    }
    other.own(textContent(QStringLiteral("before")));
    paste(QStringLiteral("new"), gone);
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); }));
    EXPECT_EQ(other.seenText(), QStringLiteral("new"));
    EXPECT_EQ(neighbour.text(), QStringLiteral("the neighbour"));
}

TEST_F(PasteTest, TheCapturedWindowComesToTheFrontFirst) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    const AppWindow place = target.place();
    const Target neighbour(Kind::Gtk, QStringLiteral("the neighbour"));
    desk().xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), target.window});
    target.selectAll(); // it let go of its selection when the neighbour selected something
    desk().xdotool({QStringLiteral("windowminimize"), QStringLiteral("--sync"), target.window});
    desk().xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), neighbour.window});
    other.own(textContent(QStringLiteral("before")));
    desk().xdotool({QStringLiteral("keydown"), QStringLiteral("shift")}); // a finger that is still down
    paste(QStringLiteral("new"), place);
    EXPECT_TRUE(waitUntil([&] { return lent(); }));
    finish();
    desk().xdotool({QStringLiteral("keyup"), QStringLiteral("shift")});
    EXPECT_TRUE(textIs(target, QStringLiteral("new"))) << target.text().toStdString();
    EXPECT_EQ(other.seenText(), QStringLiteral("before"));
}

TEST_F(PasteTest, AClipboardOwnerThatNeverAnswersDoesNotPreventThePaste) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    writeFile(desk().path(QStringLiteral("held")), "unreadable");
    QProcess& hung =
        desk().start(QStringLiteral("xclip"), {QStringLiteral("-quiet"), QStringLiteral("-selection"),
                                               QStringLiteral("clipboard"), desk().path(QStringLiteral("held"))});
    ASSERT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("unreadable"); }));
    ::kill(static_cast<pid_t>(hung.processId()), SIGSTOP);
    paste(QStringLiteral("new"), target.place());
    EXPECT_TRUE(textIs(target, QStringLiteral("new")));
    EXPECT_TRUE(waitUntil([&] { return !notifier.shown.empty(); })) << "the user is told what he lost";
    EXPECT_FALSE(other.seen().owned);
    desk().end(hung);
}

TEST_F(PasteTest, TenMegabytesArriveWholeAndTheClipboardDoesNotWaitForThem) {
    const Target target(Kind::Gtk, QStringLiteral("old"));
    other.own(textContent(QStringLiteral("before")));
    QString text;
    while (text.size() < 10'000'000)
        text += QStringLiteral("A line of text that is neither short nor long. Grüße %1\n").arg(text.size());
    paste(text, target.place());
    EXPECT_TRUE(waitUntil([&] { return other.seenText() == QStringLiteral("before"); }, 60));
    EXPECT_TRUE(waitUntil([&] { return target.text() == text.trimmed(); }, 60));
}
