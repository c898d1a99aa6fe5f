#include "capture/Selection.h"

#include "fakes/FakeDesktop.h"

#include <gmock/gmock.h>

using namespace ovalin;
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

TEST_F(SelectionTest, SourcesInTheirOrder) {
    const QString ax = QStringLiteral(" from the tree\n"), primary = QStringLiteral("from PRIMARY ");
    struct Row {
        const char* what;
        AccessibleSelection tree;
        std::optional<QString> primary;
        std::optional<QString> expected;
    };
    const Row rows[] = {
        {"the tree wins", {Kind::Text, ax, false}, primary, QStringLiteral("from the tree")},
        {"a page reads better in PRIMARY", {Kind::Text, ax, true}, primary, QStringLiteral("from PRIMARY")},
        {"a page without PRIMARY", {Kind::Text, ax, true}, std::nullopt, QStringLiteral("from the tree")},
        {"no accessibility", {Kind::Unavailable, {}, false}, primary, QStringLiteral("from PRIMARY")},
        {"nothing in the tree", {Kind::None, {}, false}, primary, QStringLiteral("from PRIMARY")},
        {"a password field hides PRIMARY too", {Kind::Secret, {}, false}, primary, std::nullopt},
        {"only blanks", {Kind::Text, QStringLiteral(" \n\t "), false}, std::nullopt, std::nullopt},
        {"blanks in PRIMARY", {Kind::Unavailable, {}, false}, QStringLiteral(" \n"), std::nullopt},
    };
    for (const Row& row : rows) {
        fake.accessibility.answer = row.tree;
        fake.pasteboard.primary = row.primary;
        EXPECT_EQ(selection.axSelection({{42, 0}, {}}).text, row.expected.value_or(QString())) << row.what;
    }
    EXPECT_EQ(selection.axSelection({}).source, SelectedText::Source::Nobody);
}

TEST_F(SelectionTest, ACopyIsReadAndTheClipboardPutBack) {
    copiesText(QStringLiteral("  copied 👩‍👩‍👧\n"));
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), QStringLiteral("copied 👩‍👩‍👧"));
    ASSERT_EQ(fake.pasteboard.restored.size(), 1u);
    EXPECT_EQ(slept, 0);
    EXPECT_EQ(log.lines.value(0), QStringLiteral("Ovalin: selection fallback grabbed 8 chars via Cmd+C"));
}

TEST_F(SelectionTest, AnUnchangedClipboardIsLeftAloneAfter300Ms) {
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(slept, 300);
    EXPECT_TRUE(fake.pasteboard.restored.empty());
    EXPECT_EQ(log.lines.value(0),
              QStringLiteral("Ovalin: selection fallback — clipboard unchanged after Cmd+C to pid 42"));
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
    EXPECT_EQ(log.count(QStringLiteral("Accessibility not granted — cannot grab selection")), 1);
    fake.keyboard.mayType = true;
    fake.keyboard.result = Keyboard::Sent::NotAllowed;
    EXPECT_EQ(selection.clipboardGrab(42, FocusKind::Unknown), std::nullopt);
    EXPECT_EQ(slept, 0);
}

TEST(ChromiumFamily, IsKnownByPrefix) {
    for (const char* bundle :
         {"com.brave.Browser", "com.google.Chrome", "com.google.Chrome.canary", "com.microsoft.edgemac",
          "company.thebrowser.Browser", "com.vivaldi.Vivaldi", "com.operasoftware.Opera", "org.chromium.Chromium"})
        EXPECT_TRUE(isChromiumFamily(QString::fromLatin1(bundle))) << bundle;
    for (const char* bundle :
         {"", "org.mozilla.firefox", "com.apple.Safari", "com.operasoftware", "xcom.brave.Browser"})
        EXPECT_FALSE(isChromiumFamily(QString::fromLatin1(bundle))) << bundle;
}
