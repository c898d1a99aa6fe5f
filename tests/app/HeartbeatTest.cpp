#include "app/Heartbeat.h"

#include "fakes/FakeDispatch.h"
#include "support/TestDesk.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace ovalin;

TEST(Heartbeat, HoldsTheSecondsAloneEachMinuteAndFollowsNoPlantedLink) {
    QTemporaryDir folder;
    FakeDispatch dispatch;
    const QString file = folder.filePath(u"beat"_s);
    const QString victim = folder.filePath(u"victim"_s);
    writeFile(victim, "mine");
    QFile::link(victim, file);
    dispatch.wall = dispatch.wall.addMSecs(999);
    const Heartbeat heartbeat(dispatch, file);
    for (int beat = 0; beat < 3; ++beat) {
        EXPECT_EQ(readFile(file), QByteArray::number(dispatch.wall.toSecsSinceEpoch()));
        dispatch.wall = dispatch.wall.addSecs(60);
        dispatch.advance(60);
    }
    EXPECT_EQ(readFile(victim), "mine");
    EXPECT_FALSE(QFileInfo(file).isSymLink());
    // Others may watch it; and where it cannot be written nothing happens.
    EXPECT_TRUE(QFileInfo(file).permission(QFile::ReadOther));
    writeHeartbeat(folder.filePath(u"missing/beat"_s), dispatch.wall);
    writeHeartbeat(folder.path(), dispatch.wall);
}
