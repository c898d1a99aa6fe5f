#include "route/CaptureQueue.h"

#include "RouteFolder.h"

#include <QRegularExpression>

using namespace ovalin;

namespace {

struct CaptureQueue : RouteFolder {
    QueueItem shown = item(QStringLiteral("p"), QStringLiteral("screenshot"));
};

} // namespace

TEST_F(CaptureQueue, ARequestHasItsKeysInBothForms) {
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(1794857400123, QTimeZone::utc());
    const Subject subject{QStringLiteral("App"), QStringLiteral("b.id"), 1, 2, QStringLiteral("https://x/"), QString()};
    QueueItem made =
        makeQueueItem(QStringLiteral("do"), QStringLiteral("words"), subject, QStringLiteral("fetch"), time);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^cap-1794857400123-[0-9a-f]{4}$")).match(made.id).hasMatch());
    EXPECT_EQ(requestId(time, 10), QStringLiteral("cap-1794857400123-000a"));
    made.screenText = QStringLiteral("seen");
    QJsonObject expected = QJsonDocument::fromJson(R"({"ts":"2026-11-16T19:30:00Z","text":"words","source_app":"App",
        "source_bundle":"b.id","prompt":"do","kind":"pending","status":"queued","source_url":"https://x/",
        "context_mode":"fetch"})")
                               .object();
    expected[QStringLiteral("id")] = made.id;
    EXPECT_EQ(made.ledgerEntry(), expected) << "an empty title is none";
    expected[QStringLiteral("screen_text")] = QStringLiteral("seen");
    EXPECT_EQ(made.queueEntry(), expected);
}

TEST_F(CaptureQueue, TheScreenshotLiesBesideTheFileAndOnlyWhereItBelongs) {
    const QByteArray png("\x89PNG\0bytes", 10);
    QueueItem fetched = item(QStringLiteral("p"));
    storeScreenshot(paths.queueDir, fetched, {png, QString(10000, QLatin1Char('x'))});
    EXPECT_EQ(fetched.screenshot, std::nullopt);
    EXPECT_EQ(fetched.screenText->size(), 6000);
    storeScreenshot(paths.queueDir, shown, {QByteArray(), QString()});
    EXPECT_EQ(shown.screenshot, std::nullopt);
    EXPECT_EQ(shown.screenText, std::nullopt);
    EXPECT_TRUE(queued().isEmpty());

    storeScreenshot(paths.queueDir, shown, {png, {}});
    ASSERT_TRUE(shown.screenshot);
    EXPECT_EQ(readFile(*shown.screenshot), png);
    ASSERT_TRUE(writeQueueFile(paths.queueDir, shown));
    EXPECT_EQ(queueFile(shown.id)[QStringLiteral("screenshot")].toString(), *shown.screenshot);
    EXPECT_EQ(queued(), (QStringList{shown.id + QStringLiteral(".json"), shown.id + QStringLiteral(".png")}));
}

TEST_F(CaptureQueue, EveryTextArrivesUnchanged) {
    QString words = QStringLiteral("\"it's\" $(touch x) `id` \\ / \n\r\t 👩‍👩‍👧 \u2028 ");
    words += QChar();
    words += QString(1 << 20, QLatin1Char('\''));
    const auto file = writeQueueFile(paths.queueDir, item(words));
    ASSERT_TRUE(file);
    EXPECT_TRUE(QDir::isAbsolutePath(*file));
    const QJsonObject read = QJsonDocument::fromJson(readFile(*file)).object();
    EXPECT_TRUE(read[QStringLiteral("prompt")].toString() == words);
}
