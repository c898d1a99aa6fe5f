// Which object has the focus, told by events while toolkits say that nothing has.
#include "FakeTree.h"

#include "fakes/FakeDispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"

namespace {

using Kind = AccessibleSelection::Kind;
using Records = AtSpiFocusRecords;

const QString ONE = u"/one"_s, TWO = u"/two"_s;

struct Event {
    const char* path;
    bool gained;
    std::chrono::milliseconds beforeKeyboardWasTaken;
    uint role = AtSpiRole::Text;
};

/// A process with two windows, each with a text in which everything is selected, and nothing that is focused.
struct AtSpiFocus : testing::Test {
    FakeTree fake;
    FakeDispatch dispatch;
    FrontTitle front{{7}, u"window of /one"_s};
    AtSpiAccessibility accessibility{dispatch, [this](const AppWindow&) { return front; }, fake.address(), 10s};

    AtSpiFocus() {
        fake.objects[u"/app"_s] = {.role = AtSpiRole::Application};
        for (const QString& text : {ONE, TWO}) {
            const QString window = text + u"/window"_s;
            fake.objects[u"/app"_s].children << window;
            fake.objects[window] = {.role = AtSpiRole::Frame, .children = {text}, .name = u"window of "_s + text};
            fake.objects[text] = {.states = {AtSpiState::Editable}, .text = text, .selected = {{0, 4}}};
        }
        EXPECT_TRUE(waitUntil([this] { return fake.listeners == 1; }));
    }
    AccessibleSelection read() {
        return onWorker([this] { return accessibility.selection({::getpid(), WindowId{7}}); });
    }
    bool reads(const QString& text) {
        return waitUntil([&] { return read().text == text; });
    }
};

} // namespace

TEST(AtSpiFocusRecords, TellWhereTheFocusWasWhenTheKeyboardWasTaken) {
    const struct {
        const char* what;
        std::vector<Event> events;
        QString expected;
    } rows[] = {
        {"the last gain", {{"/one", true, 9s}, {"/two", true, 5s}}, TWO},
        {"one that was gained again", {{"/one", true, 9s}, {"/two", true, 8s}, {"/one", true, 7s}}, ONE},
        {"lost by our taking the keyboard", {{"/one", true, 9s}, {"/one", false, -1ms}}, ONE},
        {"lost before, with nothing gained since", {{"/one", true, 9s}, {"/one", false, 5s}}, {}},
        {"known by that loss alone", {{"/one", false, 3ms}}, ONE},
        {"an old loss names nothing", {{"/one", false, 5s}}, {}},
        {"a gain is newer than an old loss", {{"/one", true, 9s}, {"/two", false, 5s}}, ONE},
        {"a false gain of a pane", {{"/one", true, 9s}, {"/two", true, 5s, AtSpiRole::RootPane}}, ONE},
        {"a button has it", {{"/one", true, 9s}, {"/two", true, 5s, AtSpiRole::PushButton}}, TWO},
        {"only panes", {{"/one", true, 9s, AtSpiRole::Frame}, {"/two", true, 5s, AtSpiRole::TableCell}}, {}},
    };
    for (const auto& row : rows) {
        Records records;
        const auto taken = std::chrono::steady_clock::now();
        for (const Event& event : row.events) {
            const AtSpiRef object{u":1.1"_s, QString::fromLatin1(event.path)};
            if (event.gained)
                records.gained(object, taken - event.beforeKeyboardWasTaken);
            else
                records.lost(object, taken - event.beforeKeyboardWasTaken);
            records.identified(object, event.role, true);
        }
        EXPECT_EQ(focusedOf(records.of(u":1.1"_s, taken)).path, row.expected) << row.what;
        EXPECT_TRUE(focusedOf(records.of(u":1.2"_s, taken)).isNull()) << "another application";
    }
}

TEST_F(AtSpiFocus, IsBelievedOnlyInTheWindowThatIsInFront) {
    EXPECT_EQ(read().kind, Kind::Unavailable) << "nobody has told anything";
    fake.tellFocus(ONE, true);
    EXPECT_TRUE(reads(ONE));
    EXPECT_EQ(read().window, WindowId{7});

    front.title = u"window of /two"_s;
    EXPECT_EQ(read().kind, Kind::Unavailable) << "of another window of the same process";
    fake.tellFocus(TWO, true);
    EXPECT_TRUE(reads(TWO));
    front.title = u"window of /two \u2014 Application"_s;
    EXPECT_TRUE(reads(TWO));
    front.title = u"a third window"_s;
    EXPECT_EQ(read().kind, Kind::Unavailable);
}

TEST_F(AtSpiFocus, APasswordFieldIsToldByItsRole) {
    fake.objects[ONE].role = AtSpiRole::PasswordText;
    fake.tellFocus(ONE, true);
    EXPECT_TRUE(waitUntil([this] { return read().kind == Kind::Secret; }));
    EXPECT_EQ(read().focus, FocusKind::Password);
}

TEST_F(AtSpiFocus, AFloodIsLetGoOfAndFollowedAgain) {
    fake.tellFocus(ONE, true);
    EXPECT_TRUE(reads(ONE));
    for (int i = 0; i < 1000; ++i)
        fake.tellFocus(i % 2 ? ONE : TWO, true);
    EXPECT_TRUE(waitUntil([this] { return fake.listeners == 0; }));
    EXPECT_EQ(read().kind, Kind::Unavailable) << "what was missed may have moved the focus";
    EXPECT_TRUE(waitUntil([this] { return fake.listeners == 1; }));
    EXPECT_TRUE(waitUntil([this] {
        fake.tellFocus(ONE, true);
        return read().text == ONE;
    }));
}

TEST_F(AtSpiFocus, IsFollowedOnABusThatCameBack) {
    fake.restart();
    fake.listeners = 0;
    EXPECT_TRUE(waitUntil([this] {
        accessibility.keyboardIsTaken();
        return fake.listeners == 1;
    }));
    fake.tellFocus(ONE, true);
    EXPECT_TRUE(reads(ONE));
}
