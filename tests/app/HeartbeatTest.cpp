#include "app/Heartbeat.h"

#include "fakes/FakeDispatch.h"

TEST(Heartbeat, HoldsTheSecondsAloneEachMinuteAndFollowsNoPlantedLink) {
    int days = 0;
    QTemporaryDir folder;
    FakeDispatch dispatch;
    const QString file = folder.filePath(u"beat"_s);
    const QString victim = folder.filePath(u"victim"_s);
    writeFile(victim, "mine");
    QFile::link(victim, file);
    dispatch.wall = dispatch.wall.addMSecs(999);
    const Heartbeat heartbeat(dispatch, file, [&] { ++days; });
    for (int beat = 0; beat < 3; ++beat) {
        EXPECT_EQ(readFile(file), QByteArray::number(dispatch.wall.toSecsSinceEpoch()));
        EXPECT_EQ(days, beat < 2 ? 1 : 2);
        dispatch.wall = dispatch.wall.addSecs(beat == 1 ? 24 * 3600 : 60);
        dispatch.advance(60);
    }
    EXPECT_EQ(readFile(victim), "mine");
    EXPECT_FALSE(QFileInfo(file).isSymLink());
    // Others may watch it; and where it cannot be written nothing happens.
    EXPECT_TRUE(QFileInfo(file).permission(QFile::ReadOther));
    writeHeartbeat(folder.filePath(u"missing/beat"_s), dispatch.wall);
    writeHeartbeat(folder.path(), dispatch.wall);
}
