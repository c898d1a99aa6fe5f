#include "fakes/FakeServices.h"
#include "platform/dbus/FreedesktopNotifier.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

class NotifierTest : public testing::Test {
protected:
    Notification withButton(const QString& title) {
        return {title, u"body"_s, u"Do it"_s, [this, title] { pressed.push_back(title.toStdString()); }};
    }
    bool waitForLog(size_t lines) {
        return waitUntil([this, lines] { return static_cast<size_t>(log.lines.size()) >= lines; });
    }

    TestBus bus;
    QtDispatch dispatch;
    LogRecorder log;
    std::vector<std::string> pressed;
};

} // namespace

TEST_F(NotifierTest, ShowsTheTextAsItIsWrittenWhateverTheServiceReadsIntoIt) {
    struct Row {
        QStringList capabilities;
        QString body;
    };
    const Row rows[] = {{{u"body"_s, u"actions"_s}, u"a < b & <b>c</b> \"d\" %1"_s},
                        {{u"body"_s, u"body-markup"_s}, u"a &lt; b &amp; &lt;b&gt;c&lt;/b&gt; \"d\" %1"_s}};
    for (const Row& row : rows) {
        FakeNotifications service(bus.address);
        service.capabilities = row.capabilities;
        FreedesktopNotifier notifier(dispatch, bus.address);
        notifier.notify({u"<T>\n\u202e& %2\u0007"_s, u"a < b & <b>c</b> \"d\" %1"_s, {}, {}});
        ASSERT_TRUE(service.waitFor(1));
        EXPECT_EQ(service.shown[0].title, u"<T> & %2"_s);
        EXPECT_EQ(service.shown[0].body, row.body);
        EXPECT_EQ(service.shown[0].hints, (QVariantMap{{u"desktop-entry"_s, u"ovalin"_s}}));
        EXPECT_EQ(service.shown[0].actions, QStringList());
    }
    EXPECT_EQ(log.lines, QStringList());
}

TEST_F(NotifierTest, AButtonActsOnceAndOnlyUntilItsNotificationIsClosed) {
    FakeNotifications service(bus.address);
    FreedesktopNotifier notifier(dispatch, bus.address);
    for (const QString& title : {u"one"_s, u"two"_s, u"three"_s})
        notifier.notify(withButton(title));
    ASSERT_TRUE(service.waitFor(3));
    EXPECT_EQ(service.shown[0].actions.value(1), u"Do it"_s);
    service.dismiss(1);
    for (const uint id : {1U, 3U, 3U, 99U, 2U})
        service.press(id);
    EXPECT_TRUE(waitUntil([&] { return pressed.size() >= 2; }));
    EXPECT_THAT(pressed, ElementsAre("three", "two"));
}

TEST_F(NotifierTest, WhatIsTakenBackIsClosedAlsoBeforeItIsThereAndAtTheEndOfTheProgram) {
    FakeNotifications service(bus.address);
    {
        FreedesktopNotifier notifier(dispatch, bus.address);
        notifier.withdraw(notifier.notify(withButton(u"one"_s)));
        std::ignore = notifier.notify(withButton(u"two"_s));
        const quint64 answered = notifier.notify(withButton(u"three"_s));
        std::ignore = notifier.notify({u"four"_s, u"body"_s, {}, {}, {}, {}, [] {}});
        ASSERT_TRUE(service.waitFor(4));
        EXPECT_TRUE(waitUntil([&] { return !service.closed.empty(); }));
        service.press(3); // some services let it stand then
        EXPECT_TRUE(waitUntil([&] { return !pressed.empty(); }));
        notifier.withdraw(answered);
        EXPECT_TRUE(waitUntil([&] { return service.closed.size() == 2; }));
    }
    EXPECT_TRUE(waitUntil([&] { return service.closed.size() >= 3; }));
    EXPECT_THAT(service.closed, ElementsAre(1u, 3u, 2u)) << "what only leads somewhere stays";
}

TEST_F(NotifierTest, OneThatSaysTheSameTakesThePlaceOfTheEarlierAndAClickActs) {
    FakeNotifications service(bus.address);
    FreedesktopNotifier notifier(dispatch, bus.address);
    const auto showsAs = [&](const QString& body, const char* click) {
        Notification notification{u"title"_s, body, {}, {}};
        notification.onClick = [this, click] { pressed.emplace_back(click); };
        const size_t before = service.shown.size();
        notifier.notify(notification);
        return service.waitFor(before + 1) ? service.shown.back().id : 0;
    };
    const struct {
        QString body;
        const char* click;
        uint id;
    } rows[] = {{u"one"_s, "first", 1}, {u"two"_s, "second", 2}, {u"one"_s, "third", 1}};
    for (const auto& row : rows)
        EXPECT_EQ(showsAs(row.body, row.click), row.id) << row.click;
    service.press(1, u"default"_s);
    service.dismiss(1);
    EXPECT_TRUE(waitUntil([&] { return !pressed.empty(); }));
    EXPECT_THAT(pressed, ElementsAre("third"));
    EXPECT_EQ(showsAs(u"one"_s, "fourth"), 4U) << "the earlier one is gone";
}

TEST_F(NotifierTest, WhatNobodyShowsIsSaidInTheLog) {
    const QString addresses[] = {bus.address, u""_s, u"unix:path=/nonexistent"_s, u"no address at all"_s};
    for (const QString& address : addresses) {
        log.lines.clear();
        FreedesktopNotifier notifier(dispatch, address);
        notifier.notify(withButton(u"Title %2"_s));
        ASSERT_TRUE(waitForLog(1)) << address.toStdString();
        EXPECT_EQ(log.lines, QStringList{u"Ovalin: Title %2 — (4 characters)"_s});
    }
}

TEST_F(NotifierTest, AServiceThatNeverAnswersHoldsNothingUp) {
    FakeNotifications service(bus.address);
    service.silent = true;
    for (int round = 0; round < 20; ++round) { // which go while their calls are under way
        FreedesktopNotifier gone(dispatch, bus.address);
        gone.notify(withButton(u"gone"_s));
    }
    FreedesktopNotifier notifier(dispatch, bus.address);
    notifier.notify(withButton(u"one"_s));
    notifier.notify(withButton(u"two"_s));
    ASSERT_TRUE(waitForLog(2));
    EXPECT_THAT(log.lines, UnorderedElementsAre(u"Ovalin: one — (4 characters)"_s, u"Ovalin: two — (4 characters)"_s));
}

TEST_F(NotifierTest, WhatAHungBusDoesNotTakeIsSaidInTheLogAndTheNextIsShown) {
    FakeNotifications service(bus.address);
    FreedesktopNotifier notifier(dispatch, bus.address);
    {
        const Stopped hung = bus.hang();
        notifier.notify(withButton(u"one"_s));
        ASSERT_TRUE(waitForLog(1)); // the service may show it when the bus goes on
    }
    {
        const Stopped hung = bus.hang();
        notifier.notify(withButton(u"two"_s));
        // Had that waited for an answer, it would have given up by now, and nothing would be shown.
    }
    EXPECT_TRUE(waitUntil([&] { return !service.shown.empty() && service.shown.back().title == u"two"_s; }));
    EXPECT_EQ(log.lines, QStringList{u"Ovalin: one — (4 characters)"_s});
}

TEST_F(NotifierTest, IdsOfAnEarlierServiceMeanNothingToItsSuccessor) {
    FreedesktopNotifier notifier(dispatch, bus.address);
    {
        FakeNotifications service(bus.address);
        notifier.notify(withButton(u"old"_s));
        ASSERT_TRUE(service.waitFor(1));
    }
    FakeNotifications service(bus.address);
    service.press(1); // somebody else's first notification
    notifier.notify(withButton(u"new"_s));
    ASSERT_TRUE(service.waitFor(1));
    service.press(1);
    EXPECT_TRUE(waitUntil([&] { return !pressed.empty(); }));
    EXPECT_THAT(pressed, ElementsAre("new"));
    EXPECT_EQ(log.lines, QStringList());
}

TEST_F(NotifierTest, ABusThatCameBackIsUsedAgain) {
    FreedesktopNotifier notifier(dispatch, bus.address);
    {
        FakeNotifications service(bus.address);
        notifier.notify(withButton(u"one"_s));
        ASSERT_TRUE(service.waitFor(1));
    }
    bus.end();
    notifier.notify(withButton(u"two"_s));
    ASSERT_TRUE(waitForLog(1));
    bus.start();
    FakeNotifications service(bus.address);
    notifier.notify(withButton(u"three"_s));
    EXPECT_TRUE(service.waitFor(1));
    EXPECT_EQ(log.lines.size(), 1);
}
