#include "FakeTree.h"

#include "base/Dispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"

#include <QLocalServer>

#include <unistd.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

using Kind = AccessibleSelection::Kind;

void giveText(FakeTree& fake) {
    fake.objects = {
        {QStringLiteral("/app"), {.children = {QStringLiteral("/text")}}},
        {QStringLiteral("/text"),
         {.states = {AtSpiState::Focused, AtSpiState::Editable}, .text = QStringLiteral("one"), .selected = {{0, 3}}}}};
}

AccessibleSelection read(AtSpiAccessibility& accessibility) {
    return onWorker([&] { return accessibility.selection({::getpid(), 0}); });
}

} // namespace

TEST(AtSpiBus, ABusThatIsNotThereOrNeverAnswersEndsInTime) {
    FakeTree stopped;
    giveText(stopped);
    const Stopped stop(stopped.busDaemon());
    QLocalServer mute; // the kernel takes connections for it, and it never looks
    ASSERT_TRUE(mute.listen(desk().path(QStringLiteral("mute"))));
    for (const QString& address : {QString(), QStringLiteral("unix:path=/nonexistent/bus"), QStringLiteral("nonsense"),
                                   QStringLiteral("unix:path=") + mute.fullServerName(), stopped.address()}) {
        SCOPED_TRACE(address.toStdString());
        QtDispatch dispatch;
        AtSpiAccessibility accessibility(dispatch, address);
        EXPECT_EQ(read(accessibility).kind, Kind::Unavailable);
        accessibility.queryEnabled([](bool) { ADD_FAILURE() << "nobody can have answered"; });
        accessibility.enable();
    }
}

TEST(AtSpiBus, ABusThatFallsSilentEndsTheReadingAndServesTheNextOne) {
    FakeTree fake;
    giveText(fake);
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, fake.address());
    ASSERT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
    {
        const Stopped stop(fake.busDaemon());
        EXPECT_EQ(read(accessibility).kind, Kind::Unavailable);
    }
    EXPECT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
}

TEST(AtSpiBus, ABrokenConnectionIsMadeAnew) {
    FakeTree fake;
    giveText(fake);
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, fake.address());
    ASSERT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
    fake.restart();
    EXPECT_TRUE(waitUntil([&] { return read(accessibility).kind == Kind::Text; }));
}

TEST(AtSpiBus, SeveralWorkersReadAtATime) {
    FakeTree fake;
    giveText(fake);
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, fake.address(), 10s);
    std::vector<std::future<AccessibleSelection>> readings;
    for (int i = 0; i < 4; ++i)
        readings.push_back(std::async(std::launch::async, [&] { return accessibility.selection({::getpid(), 0}); }));
    for (auto& reading : readings) {
        EXPECT_TRUE(waitUntil([&] { return reading.wait_for(0s) == std::future_status::ready; }, 15));
        EXPECT_EQ(reading.get().text, QStringLiteral("one"));
    }
}

TEST(AtSpiBus, EnablingIsSeenByTheNextQuestion) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch);
    bool enabled = false;
    accessibility.enable();
    EXPECT_TRUE(waitUntil([&] {
        bool answered = false;
        accessibility.queryEnabled([&](bool is) {
            answered = true;
            enabled = is;
        });
        return waitUntil([&] { return answered; }) && enabled;
    }));
}
