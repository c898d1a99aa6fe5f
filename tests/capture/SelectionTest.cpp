#include "capture/Selection.h"

#include "fakes/FakeDesktop.h"

using Kind = AccessibleSelection::Kind;

namespace {

struct SelectionTest : testing::Test {
    FakeDesktop fake;
    int slept = 0;
    ovalin::Selection selection{fake.accessibility, fake.pasteboard, fake.keyboard,
                                [this](std::chrono::milliseconds time) { slept += static_cast<int>(time.count()); }};
    LogRecorder log;

    /// The application answers the copy chord with this text.
    void copiesText(const QString& text) {
        fake.keyboard.onCopy = [this, text] {
            fake.pasteboard.clipboard = text;
            ++fake.pasteboard.changes;
        };
    }
};

} // namespace

TEST_F(SelectionTest, TheFirstThatKnowsAnswersAndOnlyThenIsNoCopyAsked) {
    const QString primary = u"from PRIMARY "_s;
    const QString page = u"org.mozilla.firefox"_s, chromium = u"org.chromium.Chromium"_s;
    using Source = SelectedText::Source;
    const auto tree = [](Kind kind, FocusKind focus, const char* text = "") {
        return AccessibleSelection{.kind = kind, .text = QString::fromUtf8(text), .focus = focus};
    };
    const auto onPage = [&](Kind kind, const char* text = "") {
        AccessibleSelection found = tree(kind, FocusKind::ReadOnly, text);
        found.page = true;
        return found;
    };
    const auto part = [&](const char* text) {
        AccessibleSelection found = tree(Kind::Text, FocusKind::Editable, text);
        found.part = true;
        return found;
    };
    const struct {
        const char* what;
        AccessibleSelection tree;
        std::optional<QString> primary;
        const char* expected;
        Source source;
        QString bundle = {};
    } rows[] = {
        {"the tree wins", tree(Kind::Text, FocusKind::Editable, " tree\n"), primary, "tree", Source::Tree},
        {"a page reads better in PRIMARY", onPage(Kind::Text, "tree"), primary, "from PRIMARY", Source::Primary},
        {"a page without PRIMARY", onPage(Kind::Text, "tree"), {}, "tree", Source::Tree},
        {"nothing selected on a page", onPage(Kind::None), {}, "", Source::Tree, page},
        {"Ctrl+A on a page of Chromium", onPage(Kind::None), {}, "", Source::Nobody, chromium},
        {"no accessibility", {}, primary, "from PRIMARY", Source::Primary},
        {"no accessibility, no PRIMARY", {}, {}, "", Source::Nobody},
        {"Chromium's PRIMARY may be a password", {}, primary, "", Source::Nobody, chromium},
        {"another of its family", {}, primary, "", Source::Nobody, u"com.google.Chrome.canary"_s},
        {"none of them", {}, primary, "from PRIMARY", Source::Primary, u"com.operasoftware"_s},
        {"a page of Chromium is none", onPage(Kind::Text, "tree"), primary, "from PRIMARY", Source::Primary, chromium},
        {"a field without a selection, in another window than PRIMARY's", tree(Kind::None, FocusKind::Editable),
         primary, "", Source::Tree},
        {"a button", tree(Kind::Unavailable, FocusKind::NoText), {}, "", Source::Tree},
        {"gvim calls its text a menu", tree(Kind::Unavailable, FocusKind::NoText), primary, "from PRIMARY",
         Source::Primary},
        {"a button of Chromium", tree(Kind::Unavailable, FocusKind::NoText), primary, "", Source::Tree, chromium},
        {"a view may hold more than it tells", tree(Kind::None, FocusKind::ReadOnly), {}, "", Source::Nobody},
        {"a terminal's highlight", tree(Kind::None, FocusKind::Terminal), primary, "from PRIMARY", Source::Primary},
        {"a terminal without one", tree(Kind::Unavailable, FocusKind::Terminal), {}, "", Source::Tree},
        {"a password field hides PRIMARY too", tree(Kind::Secret, FocusKind::Password), primary, "", Source::Tree},
        {"the dots of a password field", {}, u"●●●"_s, "", Source::Nobody},
        {"the dot of a password of one letter", {}, u"●"_s, "", Source::Nobody},
        {"only blanks", {}, u" \n"_s, "", Source::Nobody},
        {"PRIMARY has all of what the tree has a part of", part("one\ntwo"), u"zero\none\n two"_s, "zero\none\n two",
         Source::Primary},
        {"another text in PRIMARY", part("one\ntwo"), primary, "", Source::Nobody},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fake.accessibility.answer = row.tree;
        fake.pasteboard.primary = row.primary;
        fake.keyboard.copies = 0;
        const Subject target{{}, row.bundle, 42, {}, {}, {}};
        const SelectedText found = selection.axSelection(target);
        EXPECT_EQ(found.text.toStdString(), row.expected);
        EXPECT_EQ(found.source, row.source);
        [[maybe_unused]] const auto again = selection.axSelectionOrGrab(target);
        EXPECT_EQ(fake.keyboard.copies, row.source == Source::Nobody ? 1 : 0);
    }
    EXPECT_EQ(selection.axSelection({}).source, Source::Nobody);
}

TEST_F(SelectionTest, WhatRunsBesideChromiumsFilesIsOfItsFamilyUnderAnyName) {
    const QTemporaryDir folder;
    QFile::copy(u"/bin/sleep"_s, folder.filePath(u"app"_s));
    QProcess app;
    app.start(folder.filePath(u"app"_s), {u"1000"_s});
    ASSERT_TRUE(app.waitForStarted());
    fake.pasteboard.primary = u"hunter2"_s;
    for (const bool chromium : {false, true}) {
        if (chromium)
            writeFile(folder.filePath(u"chrome_100_percent.pak"_s), {});
        const Subject target{{}, {}, static_cast<qint32>(app.processId()), {}, {}, {}};
        EXPECT_EQ(selection.axSelection(target).text, chromium ? QString() : u"hunter2"_s);
    }
    app.kill();
    app.waitForFinished();
}

TEST_F(SelectionTest, TheWindowIsTheOneThatTheUserWorksInNow) {
    fake.accessibility.answer = {.kind = Kind::Text, .text = u"text"_s, .window = {8}};
    EXPECT_EQ(selection.axSelection({{}, {}, 42, {7}, {}, {}}).window, WindowId{8});
    fake.accessibility.answer.window = {};
    EXPECT_EQ(selection.axSelection({{}, {}, 42, {7}, {}, {}}).window, WindowId{7})
        << "the application is not in front any more";
}

TEST_F(SelectionTest, ACopyIsReadAndTheClipboardPutBack) {
    copiesText(u"  copied •••••👩‍👩‍👧\n"_s);
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), u"copied 👩‍👩‍👧"_s);
    ASSERT_EQ(fake.pasteboard.restored.size(), 1u);
    EXPECT_EQ(slept, 0);
    EXPECT_EQ(log.lines.value(0), u"Ovalin: selection fallback grabbed 8 chars via Cmd+C"_s);
}

TEST_F(SelectionTest, AnUnchangedClipboardIsLeftAloneAfter300Ms) {
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(slept, 300);
    EXPECT_TRUE(fake.pasteboard.restored.empty());
    EXPECT_EQ(log.lines.value(0), u"Ovalin: selection fallback — clipboard unchanged after Cmd+C to pid 42"_s);
}

TEST_F(SelectionTest, ACopyWithoutTextStillPutsTheClipboardBack) {
    fake.keyboard.onCopy = [this] { ++fake.pasteboard.changes; };
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(fake.pasteboard.restored.size(), 1u);
}

TEST_F(SelectionTest, NoKeyIsSentThatCouldDoHarm) {
    fake.pasteboard.answers = false; // what cannot be saved cannot be put back
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(fake.keyboard.copies, 0);
    fake.pasteboard.answers = true;
    fake.keyboard.mayType = false;
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(fake.keyboard.copies, 0);
    EXPECT_EQ(log.count(u"Accessibility not granted — cannot grab selection"_s), 1);
    fake.keyboard.mayType = true;
    fake.keyboard.result = Keyboard::Sent::NotAllowed;
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(slept, 0);
}
