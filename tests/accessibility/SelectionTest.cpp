#include "FakeTree.h"

#include "fakes/FakeDispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"

#include <unistd.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

using Kind = AccessibleSelection::Kind;
using Objects = std::map<QString, FakeObject>;

const QString APP = QStringLiteral("/app");
const QString WINDOW = QStringLiteral("/window");
const QString FOCUS = QStringLiteral("/focus");
const QString CARET = QStringLiteral("/caret");
const std::vector<uint> FOCUSED{AtSpiState::Showing, AtSpiState::Focused};
const std::vector<uint> EDITED{AtSpiState::Showing, AtSpiState::Focused, AtSpiState::Editable};

FakeObject textField(const QString& text, std::optional<std::pair<int, int>> selected, uint role = AtSpiRole::Text) {
    return {.role = role, .states = EDITED, .text = text, .selected = selected};
}

/// An application with one active window, in which the object at FOCUS and what the row adds lies.
Objects tree(const FakeObject& focus, const Objects& more = {}) {
    Objects all = more;
    all[APP] = {.role = 75, .children = {WINDOW}};
    all[WINDOW] = {.role = 23, .states = {AtSpiState::Showing, AtSpiState::Active}, .children = {FOCUS}};
    all[FOCUS] = focus;
    return all;
}

AccessibleSelection read(FakeTree& fake, std::chrono::milliseconds deadline = 10s) {
    FakeDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, fake.address(), deadline);
    return onWorker([&] { return accessibility.selection({::getpid(), 0}); });
}

/// A text document of an object for each paragraph, of which the one at `focused` has the caret.
Objects document(const std::vector<std::pair<QString, std::optional<std::pair<int, int>>>>& paragraphs, int focused) {
    FakeObject text{.role = 94};
    Objects all;
    for (size_t i = 0; i < paragraphs.size(); ++i) {
        const QString path = static_cast<int>(i) == focused ? CARET : QStringLiteral("/paragraph%1").arg(i);
        text.children << path;
        all[path] = {.role = AtSpiRole::Paragraph, .text = paragraphs[i].first, .selected = paragraphs[i].second};
    }
    all[CARET].states = EDITED;
    return tree(text, all);
}

struct Row {
    const char* property;
    Objects objects;
    Kind kind;
    QString text = {};
    bool page = false;
    bool part = false;
};

std::vector<Row> rows() {
    const auto page = [](const QString& text, std::pair<int, int> selected, const QStringList& embedded) {
        return FakeObject{.role = AtSpiRole::DocumentWeb,
                          .states = FOCUSED,
                          .text = text,
                          .selected = selected,
                          .children = embedded,
                          .embedded = embedded};
    };
    const auto paragraph = [](const QString& text, std::pair<int, int> selected, const QStringList& embedded = {}) {
        return FakeObject{.role = 73, .text = text, .selected = selected, .children = embedded, .embedded = embedded};
    };
    const QString hole(QChar(0xFFFC));
    const QString one = QStringLiteral("/one"), two = QStringLiteral("/two"), in = QStringLiteral("/in");
    return {
        {"a selection in a field", tree(textField(QStringLiteral("one two"), {{4, 7}})), Kind::Text,
         QStringLiteral("two")},
        {"offsets count characters, not code units", tree(textField(QStringLiteral("😀😀é!"), {{1, 3}})), Kind::Text,
         QStringLiteral("😀é")},
        {"reversed offsets", tree(textField(QStringLiteral("one two"), {{3, 0}})), Kind::Text, QStringLiteral("one")},
        {"negative offsets are nothing to go by", tree(textField(QStringLiteral("one"), {{-1, 2}})), Kind::Unavailable},
        {"an empty range", tree(textField(QStringLiteral("one"), {{2, 2}})), Kind::None},
        {"a field without a selection", tree(textField(QStringLiteral("one"), {})), Kind::None},
        {"a password is never read", tree(textField(QStringLiteral("key"), {{0, 3}}, AtSpiRole::PasswordText)),
         Kind::Secret},
        {"marks after astral characters are left out",
         tree(textField(QString(QStringLiteral("😀")) + QChar(0xFEFF) + QStringLiteral("x"), {{0, 3}})), Kind::Text,
         QStringLiteral("😀x")},
        {"focus on something without text", tree({.role = 43, .states = FOCUSED}), Kind::Unavailable},
        {"nothing focused", tree({.role = 43}), Kind::Unavailable},
        {"paragraphs of a page stand on lines of their own",
         tree(page(hole + hole, {0, 2}, {one, two}), {{one, paragraph(QStringLiteral("First one"), {6, 9})},
                                                      {two, paragraph(QStringLiteral("second"), {0, 3})}}),
         Kind::Text, QStringLiteral("one\nsec"), true},
        {"a link stays in its line",
         tree(page(hole, {0, 1}, {one}),
              {{one, paragraph(QStringLiteral("a 😀 ") + hole + QStringLiteral(" z"), {0, 7}, {in})},
               {in, {.role = AtSpiRole::Link, .text = QStringLiteral("link"), .selected = {{0, 4}}}}}),
         Kind::Text, QStringLiteral("a 😀 link z"), true},
        {"a password in a selected page is left out",
         tree(page(QStringLiteral("x") + hole, {0, 2}, {in}),
              {{in, {.role = AtSpiRole::PasswordText, .text = QStringLiteral("key"), .selected = {{0, 3}}}}}),
         Kind::Text, QStringLiteral("x"), true},
        {"a page that contains itself ends", tree(page(hole, {0, 1}, {FOCUS})), Kind::Unavailable, {}, true},
        {"the selection of the page around a focused link",
         tree({.role = AtSpiRole::DocumentWeb, .text = QStringLiteral("text"), .selected = {{0, 2}}, .children = {in}},
              {{in, {.role = AtSpiRole::Link, .states = FOCUSED, .text = QStringLiteral("link")}}}),
         Kind::Text, QStringLiteral("te"), true},
        {"a selection over several paragraphs is read whole",
         document({{QStringLiteral("above"), {}},
                   {QStringLiteral("one"), {{1, 3}}},
                   {QStringLiteral("two"), {{0, 3}}},
                   {QStringLiteral("three"), {{0, 2}}}},
                  2),
         Kind::Text, QStringLiteral("ne\ntwo\nth")},
        {"the caret stands below the paragraphs that are selected",
         document({{QStringLiteral("above"), {}}, {QStringLiteral("one"), {{0, 3}}}, {QStringLiteral("two"), {}}}, 2),
         Kind::Text, QStringLiteral("one"), false, true},
        {"what may go on above the screen is not all",
         document({{QStringLiteral("one"), {{0, 3}}}, {QStringLiteral("two"), {{0, 1}}}}, 1), Kind::Text,
         QStringLiteral("one\nt"), false, true},
        {"a part of a paragraph is all of it",
         document({{QStringLiteral("one"), {}}, {QStringLiteral("two"), {{1, 2}}}}, 1), Kind::Text,
         QStringLiteral("w")},
    };
}

} // namespace

TEST(AtSpiSelection, IsReadAsItStandsInTheTree) {
    FakeTree fake;
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.property);
        fake.objects = row.objects;
        const AccessibleSelection found = read(fake, row.text.isEmpty() && row.page ? 500ms : 10s);
        EXPECT_EQ(found.kind, row.kind);
        EXPECT_EQ(found.text.toStdString(), row.text.toStdString());
        EXPECT_EQ(found.page, row.page);
        EXPECT_EQ(found.part, row.part);
    }
}

TEST(AtSpiSelection, IsFoundWhateverTheToolkitAnswers) {
    FakeTree fake;
    fake.objects = tree({.role = 20, .states = FOCUSED, .children = {QStringLiteral("/field")}},
                        {{QStringLiteral("/field"), textField(QStringLiteral("deep"), {{0, 4}})}});
    for (const auto finds : {FakeTree::Finds::ByCache, FakeTree::Finds::ByWalking}) {
        fake.finds = finds;
        EXPECT_EQ(read(fake).text, QStringLiteral("deep"));
    }
}

TEST(AtSpiSelection, IsUnavailableWhenAnyAnswerIsMissingOrOfAnotherType) {
    FakeTree fake;
    fake.objects = tree(textField(QStringLiteral("one"), {{0, 3}}));
    for (const char* method : {"GetAddress", "GetChildren", "GetRole", "GetNSelections", "GetSelection", "GetText"}) {
        SCOPED_TRACE(method);
        fake.silent = {QString::fromLatin1(method)};
        EXPECT_EQ(read(fake, 100ms).kind, Kind::Unavailable);
        fake.silent.clear();
        fake.garbled = {QString::fromLatin1(method)};
        EXPECT_EQ(read(fake, 100ms).kind, Kind::Unavailable);
        fake.garbled.clear();
    }
    EXPECT_EQ(read(fake).text, QStringLiteral("one"));
}

TEST(AtSpiSelection, TheConnectionsAreKeptBetweenReadings) {
    FakeTree fake;
    FakeDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, fake.address(), 10s);
    fake.objects = tree(textField(QStringLiteral("one"), {{0, 3}}));
    EXPECT_EQ(onWorker([&] { return accessibility.selection({::getpid(), 0}); }).text, QStringLiteral("one"));
    fake.silent = {QStringLiteral("GetAddress")};
    EXPECT_EQ(onWorker([&] { return accessibility.selection({::getpid(), 0}); }).text, QStringLiteral("one"));
}
