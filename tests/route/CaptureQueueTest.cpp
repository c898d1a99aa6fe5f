#include "route/CaptureQueue.h"

#include "RouteFolder.h"

#include <QRegularExpression>

namespace {

struct CaptureQueue : RouteFolder {
    QueueItem shown = item(u"p"_s, u"screenshot"_s);
};

} // namespace

TEST_F(CaptureQueue, ARequestHasItsKeysInBothForms) {
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(1794857400123, QTimeZone::utc());
    const Subject subject{u"App"_s, u"b.id"_s, 1, WindowId{2}, u"https://x/"_s, QString()};
    QueueItem made = makeQueueItem(u"do"_s, u"words"_s, subject, u"fetch"_s, time);
    EXPECT_TRUE(QRegularExpression(u"^cap-1794857400123-[0-9a-f]{4}$"_s).match(made.id).hasMatch());
    EXPECT_EQ(requestId(time, 10), u"cap-1794857400123-000a"_s);
    made.screenText = u"seen"_s;
    QJsonObject expected = QJsonDocument::fromJson(R"({"ts":"2026-11-16T19:30:00Z","text":"words","source_app":"App",
        "source_bundle":"b.id","prompt":"do","kind":"pending","status":"queued","source_url":"https://x/",
        "context_mode":"fetch"})")
                               .object();
    expected[u"id"_s] = made.id;
    EXPECT_EQ(made.ledgerEntry(), expected) << "an empty title is none";
    expected[u"screen_text"_s] = u"seen"_s;
    EXPECT_EQ(made.queueEntry(), expected);
}

TEST_F(CaptureQueue, TheScreenshotLiesBesideTheFileAndOnlyWhereItBelongs) {
    const QByteArray png("\x89PNG\0bytes", 10);
    QueueItem fetched = item(u"p"_s);
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
    EXPECT_EQ(queueFile(shown.id)[u"screenshot"_s].toString(), *shown.screenshot);
    EXPECT_EQ(queued(), (QStringList{shown.id + u".json"_s, shown.id + u".png"_s}));
}

TEST_F(CaptureQueue, EveryTextArrivesUnchanged) {
    QString words = u"\"it's\" $(touch x) `id` \\ / \n\r\t 👩‍👩‍👧 \u2028 "_s;
    words += QChar();
    words += QString(1 << 20, QLatin1Char('\''));
    const auto file = writeQueueFile(paths.queueDir, item(words));
    ASSERT_TRUE(file);
    EXPECT_TRUE(QDir::isAbsolutePath(*file));
    const QJsonObject read = QJsonDocument::fromJson(readFile(*file)).object();
    EXPECT_TRUE(read[u"prompt"_s].toString() == words);
}
