#include "FakeTree.h"

#include "base/Dispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"

#include <QLocalServer>

namespace {

using Kind = AccessibleSelection::Kind;

void giveText(FakeTree& fake) {
    fake.objects = {
        {u"/app"_s, {.children = {u"/text"_s}}},
        {u"/text"_s, {.states = {AtSpiState::Focused, AtSpiState::Editable}, .text = u"one"_s, .selected = {{0, 3}}}}};
}

AccessibleSelection read(AtSpiAccessibility& accessibility) {
    return onWorker([&] { return accessibility.selection({::getpid(), {}}); });
}

} // namespace

TEST(AtSpiBus, ABusThatIsNotThereOrNeverAnswersEndsInTime) {
    FakeTree stopped;
    giveText(stopped);
    const Stopped stop = stopped.hangBus();
    QLocalServer mute; // the kernel takes connections for it, and it never looks
    ASSERT_TRUE(mute.listen(desk().path(u"mute"_s)));
    for (const QString& address : {QString(), u"unix:path=/nonexistent/bus"_s, u"nonsense"_s,
                                   u"unix:path="_s + mute.fullServerName(), stopped.address()}) {
        SCOPED_TRACE(address.toStdString());
        QtDispatch dispatch;
        AtSpiAccessibility accessibility(dispatch, nobody, address);
        EXPECT_EQ(read(accessibility).kind, Kind::Unavailable);
        accessibility.queryEnabled([](bool) { ADD_FAILURE() << "nobody can have answered"; });
        accessibility.enable();
    }
}

TEST(AtSpiBus, ABusThatFallsSilentEndsTheReadingAndServesTheNextOne) {
    FakeTree fake;
    giveText(fake);
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, nobody, fake.address());
    ASSERT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
    {
        const Stopped stop = fake.hangBus();
        EXPECT_EQ(read(accessibility).kind, Kind::Unavailable);
    }
    EXPECT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
    fake.restart();
    EXPECT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; })) << "a connection that broke";
}

TEST(AtSpiBus, SeveralWorkersReadAtATime) {
    FakeTree fake;
    giveText(fake);
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, nobody, fake.address(), 10s);
    std::vector<std::future<AccessibleSelection>> readings;
    for (int i = 0; i < 4; ++i)
        readings.push_back(std::async(std::launch::async, [&] { return accessibility.selection({::getpid(), {}}); }));
    for (auto& reading : readings) {
        EXPECT_TRUE(waitUntil([&] { return reading.wait_for(0s) == std::future_status::ready; }, 15));
        EXPECT_EQ(reading.get().text, u"one"_s);
    }
}
