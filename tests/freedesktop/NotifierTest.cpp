#include "BusDesk.h"
#include "base/Log.h"
#include "platform/dbus/FreedesktopNotifier.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>

using namespace ovalin;
using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class NotificationService : public FakeServices {
public:
    explicit NotificationService(const QString& address, const QStringList& more = {})
        : FakeServices(address, name, QStringList{u"--notifications"_s, file()} + more) {}
    ~NotificationService() { QFile::remove(file()); }

    void tell(const QString& method, uint id) { call(u"/org/freedesktop/Notifications"_s, name, method, {id}); }

    /// What was shown so far, once it is as many and the service has answered them all.
    [[nodiscard]] QList<QJsonObject> shown(int atLeast) {
        waitUntil([atLeast] { return readFile(file()).count('\n') >= atLeast; });
        tell(u"Dismiss"_s, 0);
        QList<QJsonObject> all;
        for (const QByteArray& line : readFile(file()).split('\n')) {
            if (!line.isEmpty())
                all.append(QJsonDocument::fromJson(line).object());
        }
        return all;
    }

private:
    static inline const QString name = u"org.freedesktop.Notifications"_s;
    static QString file() { return desk().path(u"notifications.jsonl"_s); }
};

class NotifierTest : public testing::Test {
protected:
    NotifierTest() {
        setLogSink([this](const QString& line) { logged.push_back(line.toStdString()); });
    }
    ~NotifierTest() override { setLogSink({}); }

    Notification withButton(const QString& title) {
        return {title, u"body"_s, u"Do it"_s, [this, title] { pressed.push_back(title.toStdString()); }};
    }
    bool waitForLog(size_t lines) {
        return waitUntil([this, lines] { return logged.size() >= lines; });
    }

    TestBus bus;
    QtDispatch dispatch;
    std::vector<std::string> logged;
    std::vector<std::string> pressed;
};

} // namespace

TEST_F(NotifierTest, ShowsTheTextAsItIsWrittenWhateverTheServiceReadsIntoIt) {
    struct Row {
        QString capabilities, body;
    };
    const Row rows[] = {{u"body,actions"_s, u"a < b & <b>c</b> \"d\" %1"_s},
                        {u"body,body-markup"_s, u"a &lt; b &amp; &lt;b&gt;c&lt;/b&gt; \"d\" %1"_s}};
    for (const Row& row : rows) {
        NotificationService service(bus.address, {u"--capabilities"_s, row.capabilities});
        FreedesktopNotifier notifier(dispatch, bus.address);
        notifier.notify({u"<T> & %2"_s, u"a < b & <b>c</b> \"d\" %1"_s, {}, {}});
        const auto shown = service.shown(1);
        ASSERT_EQ(shown.size(), 1);
        EXPECT_EQ(shown[0][u"title"_s], u"<T> & %2"_s);
        EXPECT_EQ(shown[0][u"body"_s], row.body);
        EXPECT_EQ(shown[0][u"hints"_s], (QJsonObject{{u"desktop-entry"_s, u"ovalin"_s}}));
        EXPECT_EQ(shown[0][u"actions"_s], QJsonArray());
    }
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(NotifierTest, AButtonActsOnceAndOnlyUntilItsNotificationIsClosed) {
    NotificationService service(bus.address);
    FreedesktopNotifier notifier(dispatch, bus.address);
    for (const QString& title : {u"one"_s, u"two"_s, u"three"_s})
        notifier.notify(withButton(title));
    const auto shown = service.shown(3);
    ASSERT_EQ(shown.size(), 3);
    EXPECT_EQ(shown[0][u"actions"_s][1], u"Do it"_s);
    service.tell(u"Dismiss"_s, 1);
    service.tell(u"Press"_s, 1);
    service.tell(u"Press"_s, 3);
    service.tell(u"Press"_s, 3);
    service.tell(u"Press"_s, 99);
    service.tell(u"Press"_s, 2);
    EXPECT_TRUE(waitUntil([&] { return pressed.size() >= 2; }));
    EXPECT_THAT(pressed, ElementsAre("three", "two"));
}

TEST_F(NotifierTest, AServiceThatPressesByItselfReachesTheAction) {
    NotificationService service(bus.address, {u"--press-actions"_s});
    FreedesktopNotifier notifier(dispatch, bus.address);
    notifier.notify(withButton(u"one"_s));
    EXPECT_TRUE(waitUntil([&] { return !pressed.empty(); }));
}

TEST_F(NotifierTest, WhatNobodyShowsIsSaidInTheLog) {
    const QString addresses[] = {bus.address, u""_s, u"unix:path=/nonexistent"_s, u"no address at all"_s};
    for (const QString& address : addresses) {
        logged.clear();
        FreedesktopNotifier notifier(dispatch, address);
        notifier.notify(withButton(u"Title %2"_s));
        ASSERT_TRUE(waitForLog(1)) << address.toStdString();
        EXPECT_THAT(logged, ElementsAre("Ovalin: Title %2 — body"));
    }
}

TEST_F(NotifierTest, AServiceThatNeverAnswersHoldsNothingUp) {
    NotificationService service(bus.address, {u"--silent"_s});
    for (int round = 0; round < 20; ++round) { // which go while their calls are under way
        FreedesktopNotifier gone(dispatch, bus.address);
        gone.notify(withButton(u"gone"_s));
    }
    FreedesktopNotifier notifier(dispatch, bus.address);
    notifier.notify(withButton(u"one"_s));
    notifier.notify(withButton(u"two"_s));
    ASSERT_TRUE(waitForLog(2));
    EXPECT_THAT(logged, UnorderedElementsAre("Ovalin: one — body", "Ovalin: two — body"));
}

TEST_F(NotifierTest, WhatAHungBusDoesNotTakeIsSaidInTheLogAndTheNextIsShown) {
    NotificationService service(bus.address);
    const auto showsLast = [&service](const QString& title) {
        const auto shown = service.shown(1);
        return !shown.isEmpty() && shown.last()[u"title"_s] == title;
    };
    bus.hang();
    FreedesktopNotifier notifier(dispatch, bus.address);
    notifier.notify(withButton(u"one"_s));
    ASSERT_TRUE(waitForLog(1));
    bus.recover();
    EXPECT_TRUE(waitUntil([&] { return showsLast(u"one"_s); }));
    bus.hang();
    notifier.notify(withButton(u"two"_s));
    // Had that waited for an answer, it would have given up by now, and nothing would be shown.
    bus.recover();
    EXPECT_TRUE(waitUntil([&] { return showsLast(u"two"_s); }));
    EXPECT_THAT(logged, ElementsAre("Ovalin: one — body"));
}

TEST_F(NotifierTest, IdsOfAnEarlierServiceMeanNothingToItsSuccessor) {
    FreedesktopNotifier notifier(dispatch, bus.address);
    {
        NotificationService service(bus.address);
        notifier.notify(withButton(u"old"_s));
        ASSERT_EQ(service.shown(1).size(), 1);
    }
    NotificationService service(bus.address);
    service.tell(u"Press"_s, 1); // somebody else's first notification
    notifier.notify(withButton(u"new"_s));
    ASSERT_EQ(service.shown(1).size(), 1);
    service.tell(u"Press"_s, 1);
    EXPECT_TRUE(waitUntil([&] { return !pressed.empty(); }));
    EXPECT_THAT(pressed, ElementsAre("new"));
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(NotifierTest, ABusThatCameBackIsUsedAgain) {
    FreedesktopNotifier notifier(dispatch, bus.address);
    {
        NotificationService service(bus.address);
        notifier.notify(withButton(u"one"_s));
        ASSERT_EQ(service.shown(1).size(), 1);
    }
    bus.end();
    notifier.notify(withButton(u"two"_s));
    ASSERT_TRUE(waitForLog(1));
    bus.start();
    NotificationService service(bus.address);
    notifier.notify(withButton(u"three"_s));
    EXPECT_EQ(service.shown(1).size(), 1);
    EXPECT_EQ(logged.size(), 1U);
}
