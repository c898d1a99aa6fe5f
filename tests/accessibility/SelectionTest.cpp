#include "FakeTree.h"

#include "fakes/FakeDispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"

namespace {

using Kind = AccessibleSelection::Kind;
using Objects = std::map<QString, FakeObject>;

const QString APP = u"/app"_s;
const QString WINDOW = u"/window"_s;
const QString FOCUS = u"/focus"_s;
const QString CARET = u"/caret"_s;
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
    AtSpiAccessibility accessibility(dispatch, nobody, fake.address(), deadline);
    return onWorker([&] { return accessibility.selection({::getpid(), {}}); });
}

/// A text document of an object for each paragraph, of which the one at `focused` has the caret.
Objects document(const std::vector<std::pair<QString, std::optional<std::pair<int, int>>>>& paragraphs, int focused) {
    FakeObject text{.role = 94};
    Objects all;
    for (size_t i = 0; i < paragraphs.size(); ++i) {
        const QString path = static_cast<int>(i) == focused ? CARET : u"/paragraph%1"_s.arg(i);
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
    const QString one = u"/one"_s, two = u"/two"_s, in = u"/in"_s;
    return {
        {"a selection in a field", tree(textField(u"one two"_s, {{4, 7}})), Kind::Text, u"two"_s},
        {"offsets count characters, not code units", tree(textField(u"😀😀é!"_s, {{1, 3}})), Kind::Text, u"😀é"_s},
        {"reversed offsets", tree(textField(u"one two"_s, {{3, 0}})), Kind::Text, u"one"_s},
        {"negative offsets are nothing to go by", tree(textField(u"one"_s, {{-1, 2}})), Kind::Unavailable},
        {"an empty range", tree(textField(u"one"_s, {{2, 2}})), Kind::None},
        {"a field without a selection", tree(textField(u"one"_s, {})), Kind::None},
        {"a password is never read", tree(textField(u"key"_s, {{0, 3}}, AtSpiRole::PasswordText)), Kind::Secret},
        {"marks after astral characters are left out",
         tree(textField(QString(u"😀"_s) + QChar(0xFEFF) + u"x"_s, {{0, 3}})), Kind::Text, u"😀x"_s},
        {"focus on something without text", tree({.role = 43, .states = FOCUSED}), Kind::Unavailable},
        {"nothing focused", tree({.role = 43}), Kind::Unavailable},
        {"paragraphs of a page stand on lines of their own",
         tree(page(hole + hole, {0, 2}, {one, two}),
              {{one, paragraph(u"First one"_s, {6, 9})}, {two, paragraph(u"second"_s, {0, 3})}}),
         Kind::Text, u"one\nsec"_s, true},
        {"a link stays in its line",
         tree(page(hole, {0, 1}, {one}), {{one, paragraph(u"a 😀 "_s + hole + u" z"_s, {0, 7}, {in})},
                                          {in, {.role = AtSpiRole::Link, .text = u"link"_s, .selected = {{0, 4}}}}}),
         Kind::Text, u"a 😀 link z"_s, true},
        {"a password in a selected page is left out",
         tree(page(u"x"_s + hole, {0, 2}, {in}),
              {{in, {.role = AtSpiRole::PasswordText, .text = u"key"_s, .selected = {{0, 3}}}}}),
         Kind::Text, u"x"_s, true},
        {"a page that contains itself ends", tree(page(hole, {0, 1}, {FOCUS})), Kind::Unavailable, {}, true},
        {"the selection of the page around a focused link",
         tree({.role = AtSpiRole::DocumentWeb, .text = u"text"_s, .selected = {{0, 2}}, .children = {in}},
              {{in, {.role = AtSpiRole::Link, .states = FOCUSED, .text = u"link"_s}}}),
         Kind::Text, u"te"_s, true},
        {"a selection over several paragraphs is read whole",
         document({{u"above"_s, {}}, {u"one"_s, {{1, 3}}}, {u"two"_s, {{0, 3}}}, {u"three"_s, {{0, 2}}}}, 2),
         Kind::Text, u"ne\ntwo\nth"_s},
        {"the caret stands below the paragraphs that are selected",
         document({{u"above"_s, {}}, {u"one"_s, {{0, 3}}}, {u"two"_s, {}}}, 2), Kind::Text, u"one"_s, false, true},
        {"what may go on above the screen is not all", document({{u"one"_s, {{0, 3}}}, {u"two"_s, {{0, 1}}}}, 1),
         Kind::Text, u"one\nt"_s, false, true},
        {"a part of a paragraph is all of it", document({{u"one"_s, {}}, {u"two"_s, {{1, 2}}}}, 1), Kind::Text, u"w"_s},
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

TEST(AtSpiSelection, IsUnavailableWhenAnyAnswerIsMissingOrOfAnotherType) {
    FakeTree fake;
    fake.objects = tree(textField(u"one"_s, {{0, 3}}));
    for (const char* method : {"GetAddress", "GetChildren", "GetRole", "GetNSelections", "GetSelection", "GetText"}) {
        SCOPED_TRACE(method);
        fake.silent = {QString::fromLatin1(method)};
        EXPECT_EQ(read(fake, 100ms).kind, Kind::Unavailable);
        fake.silent.clear();
        fake.garbled = {QString::fromLatin1(method)};
        EXPECT_EQ(read(fake, 100ms).kind, Kind::Unavailable);
        fake.garbled.clear();
    }
    EXPECT_EQ(read(fake).text, u"one"_s);
}

TEST(AtSpiSelection, IsFoundWhateverTheToolkitAnswersOnAConnectionThatIsKept) {
    FakeTree fake;
    FakeDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, nobody, fake.address(), 10s);
    fake.objects = tree({.role = 20, .states = FOCUSED, .children = {u"/field"_s}},
                        {{u"/field"_s, textField(u"deep"_s, {{0, 4}})}});
    for (const auto finds : {FakeTree::Finds::ByCache, FakeTree::Finds::ByWalking}) {
        fake.finds = finds;
        EXPECT_EQ(onWorker([&] { return accessibility.selection({::getpid(), {}}); }).text, u"deep"_s);
        fake.silent = {u"GetAddress"_s};
    }
}
