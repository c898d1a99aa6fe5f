#include "transform/PasteOver.h"

#include "fakes/FakeDesktop.h"
#include "fakes/FakeDispatch.h"

using Selection = Pasteboard::Selection;
using Keys = PasteWay::Keys;
using Before = PasteWay::Before;

TEST(ClipboardStep, WhetherTheClipboardMayBeRestored) {
    using Ms = std::chrono::milliseconds;
    const struct {
        Ms sinceKey;
        std::optional<Ms> readAgo;
        bool ours;
        ClipboardStep step;
    } rows[] = {
        {0ms, {}, true, ClipboardStep::Wait},
        {440ms, 400ms, true, ClipboardStep::Wait}, // a quick target may still ask again
        {450ms, 400ms, true, ClipboardStep::Restore},
        {450ms, 90ms, true, ClipboardStep::Wait},
        {900ms, {}, true, ClipboardStep::Wait}, // stalled
        {2000ms, 100ms, true, ClipboardStep::Restore},
        {2990ms, {}, true, ClipboardStep::Wait},
        {3000ms, {}, true, ClipboardStep::LeaveText},
        {3000ms, 5ms, true, ClipboardStep::Restore}, // it asks and asks
        {100ms, 50ms, false, ClipboardStep::Wait},   // whoever has it now may be asked
        {450ms, {}, false, ClipboardStep::LeaveNewer},
        {3000ms, 2000ms, false, ClipboardStep::LeaveNewer},
    };
    for (const auto& row : rows)
        EXPECT_EQ(clipboardStep(row.sinceKey, row.readAgo, row.ours), row.step)
            << row.sinceKey.count() << " " << row.readAgo.value_or(-1ms).count() << row.ours;
}

namespace {

struct PasteOverTest : testing::Test {
    FakeDesktop fake;
    FakeDispatch dispatch;
    LogRecorder log;
    PasteOver pasteOver{fake.desktop, dispatch};
    QString text = u"new"_s, over;
    PasteWay way = fake.keyboard.way;

    void paste() {
        pasteOver.pasteOverSelection({text, u"Editor"_s, {4711, {1}}, way, over});
        dispatch.runMain();
    }
    QString told() {
        return fake.notifier.shown.empty() ? QString()
                                           : fake.notifier.shown.back().title + fake.notifier.shown.back().body;
    }
};

} // namespace

TEST_F(PasteOverTest, ATargetOutOfReachGetsNoKeyAndTheTextWaitsOnTheClipboard) {
    fake.keyboard.comesToFront = false;
    paste();
    EXPECT_TRUE(fake.keyboard.pastes.empty());
    EXPECT_EQ(fake.pasteboard.borrowed, QStringList(text));
    EXPECT_TRUE(fake.pasteboard.givenBack.empty());
    EXPECT_TRUE(told().contains(u"on the clipboard"_s));

    for (const auto sent : {Keyboard::Sent::NoTarget, Keyboard::Sent::NotTrusted}) { // in the last moment
        for (const bool primaryToo : {false, true}) {
            fake.keyboard.comesToFront = true;
            way.primaryToo = primaryToo;
            fake.keyboard.result = sent;
            paste();
            EXPECT_EQ(fake.pasteboard.selections.back(), Selection::Clipboard);
            EXPECT_EQ(std::exchange(fake.pasteboard.givenBack, {}).size(), primaryToo ? 1u : 0u);
        }
    }
    EXPECT_EQ(fake.notifier.shown.size(), 5u);
}

TEST_F(PasteOverTest, WhatIsPutBackAndWhatIsSaid) {
    fake.pasteboard.lent = {true, 200ms};
    paste();
    EXPECT_EQ(fake.pasteboard.givenBack.size(), 1u);
    EXPECT_EQ(told(), QString());

    fake.pasteboard.savedBefore.complete = false;
    paste();
    EXPECT_EQ(fake.pasteboard.givenBack.size(), 2u) << "as far as it could be read";
    EXPECT_TRUE(told().contains(u"did not hand over all"_s));

    fake.pasteboard.lent = {false, {}};
    fake.pasteboard.clipboard = u"newer"_s;
    paste();
    EXPECT_EQ(fake.pasteboard.givenBack.size(), 2u);

    fake.pasteboard.lent = {true, {}};
    paste();
    EXPECT_EQ(fake.pasteboard.givenBack.size(), 2u);
    EXPECT_TRUE(told().contains(u"on the clipboard"_s));

    way.primaryToo = true; // a terminal that did not take it
    paste();
    EXPECT_EQ(fake.pasteboard.givenBack.size(), 3u);
    EXPECT_EQ(fake.pasteboard.selections.back(), Selection::Clipboard);
}

TEST_F(PasteOverTest, NoKeyGoesWhereItWouldDoSomethingElse) {
    const PasteWay terminal{Keys::CtrlShiftV, Before::Nothing, false, true, false, {}};
    const PasteWay editor{Keys::ShiftInsert, Before::Nothing, false, false, true, {}};
    const PasteWay deletes{Keys::ShiftInsert, Before::Delete, false, false, true, {}};
    const PasteWay none{Keys::None, Before::Nothing, false, false, true, {}};
    const struct {
        const char* name;
        PasteWay way;
        const char* text;
        const char* primary; // what the application shows as selected
        bool pasted;
    } rows[] = {
        {"terminal", terminal, "ls\n", "", true},
        {"terminal, another line end", terminal, "ls\r\n", "", true},
        {"terminal, lines", terminal, "ls\npwd", "", false},
        {"terminal, carriage return", terminal, "a\rb", "", false},
        {"terminal, escape", terminal, "a\x1b[201~b", "", false},
        {"editor, lines", editor, "a\nb\n", "", true},
        {"deletes first", deletes, "a", "old", true},
        {"deletes first, gone", deletes, "a", "", false},
        {"deletes first, other", deletes, "a", "odd", false},
        {"no key", none, "a", "old", false},
    };
    fake.pasteboard.lent = {true, 200ms};
    over = u"old"_s;
    for (const auto& row : rows) {
        way = row.way;
        text = QString::fromLatin1(row.text);
        fake.pasteboard.primary = QString::fromLatin1(row.primary);
        fake.pasteboard.borrowed.clear();
        fake.keyboard.pastes.clear();
        paste();
        EXPECT_EQ(fake.keyboard.pastes.size(), row.pasted ? 1u : 0u) << row.name;
        if (row.pasted && row.way.oneLine) {
            EXPECT_EQ(fake.pasteboard.borrowed.front(), u"ls"_s) << "its line end would run it";
        }
        if (!row.pasted) {
            EXPECT_EQ(fake.pasteboard.borrowed.back(), text) << row.name;
        }
        EXPECT_EQ(told().contains(u"on the clipboard"_s), !row.pasted) << row.name;
        fake.notifier.shown.clear();
    }
}

TEST_F(PasteOverTest, NothingToBeHadIsSaidToo) {
    fake.pasteboard.answers = false;
    paste();
    EXPECT_FALSE(told().isEmpty());
    EXPECT_TRUE(fake.keyboard.pastes.empty());
}
