#include "history/AskHistoryEntries.h"
#include "base/RelTime.h"
#include "support/Testing.h"

namespace {

const QDateTime NOW(QDate(2026, 11, 16), QTime(19, 30, 5, 900), QTimeZone::utc());

QJsonObject object(const char* json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    EXPECT_TRUE(document.isObject()) << json;
    return document.object();
}

AskHistoryEntries entries(const char* array) {
    return parseAskHistory(QByteArray(R"({"sessions":)") + array + "}").value();
}

AskTurn turn(const QString& id, const QString& question = u"q"_s, const QString& answer = u"a"_s) {
    return {id, u"Editor"_s, std::nullopt, question, answer, false};
}

QStringList ids(const AskHistoryEntries& all) {
    QStringList list;
    for (const QJsonObject& entry : all)
        list.append(entry[u"id"_s].toString(u"?"_s));
    return list;
}

QString previewOf(const QJsonObject& entry) {
    QStringList lines;
    for (const PreviewLine& line : previewLines(entry))
        lines.append((line.user ? u"You:"_s : u"Torvi:"_s) + line.text);
    return lines.join(QLatin1Char(' '));
}

} // namespace

TEST(AskHistoryEntries, AFirstTurnMakesAnEntryAtTheFront) {
    AskHistoryEntries all = entries(R"([{"id":"old"}])");
    AskTurn first = turn(u"new"_s, u"second?"_s, u"half [stopped]"_s);
    first.firstQuestion = u"first?"_s;
    first.interrupted = true;
    EXPECT_EQ(storeTurn(all, first, NOW), Stored::Created);
    EXPECT_EQ(ids(all), (QStringList{u"new"_s, u"old"_s}));
    EXPECT_EQ(all[0], object(R"({"id":"new","startedAt":"2026-11-16T19:30:05Z","lastAt":"2026-11-16T19:30:05Z",
        "app":"Editor","first":"first?","turns":1,"interrupted":true,
        "preview":[{"r":"you","t":"second?"},{"r":"torvi","t":"half [stopped]"}]})"));
}

TEST(AskHistoryEntries, LaterTurnsUpdateTheirEntryAndMoveItToTheFront) {
    AskHistoryEntries all = entries(
        R"([{"id":"other"},{"noId":1},{"id":"a","first":"f","title":"t","mine":{"x":[1]},"interrupted":true},{"id":"a","turns":9}])");
    for (int i = 1; i <= 4; ++i) {
        const AskTurn next = turn(u"a"_s, QString::number(i), QString::number(-i));
        EXPECT_EQ(storeTurn(all, next, NOW.addDays(i)), Stored::Updated);
    }
    EXPECT_EQ(ids(all), (QStringList{u"a"_s, u"other"_s, u"?"_s, u"a"_s}));
    EXPECT_EQ(previewOf(all[0]), u"You:2 Torvi:-2 You:3 Torvi:-3 You:4 Torvi:-4"_s);
    QJsonObject rest = all[0];
    rest.remove(u"preview"_s);
    EXPECT_EQ(rest, object(R"({"id":"a","first":"f","title":"t","mine":{"x":[1]},"interrupted":false,"turns":4,
        "lastAt":"2026-11-20T19:30:05Z"})"));
    EXPECT_EQ(all[3][u"turns"_s].toInt(), 9) << "only the first of two with one id";
}

TEST(AskHistoryEntries, ValuesOfOtherKindsCountAsMissing) {
    const struct {
        const char* entry;
        qint64 turns;
        const char* preview;
    } rows[] = {
        {R"({"turns":"3","preview":"text"})", 1, "You:q Torvi:a"},
        {R"({"turns":2.5,"preview":[{"r":"you","t":7}]})", 1, "You:q Torvi:a"},
        {R"({"turns":2.0,"preview":[{"r":"you","t":"x"},"y"]})", 3, "You:q Torvi:a"},
        {R"({"turns":null,"preview":[{"r":"you"},{"t":"x"},{"r":"robot","t":"z"}]})", 1,
         "You: Torvi:x Torvi:z You:q Torvi:a"},
        {R"({"turns":9223372036854775807,"preview":{}})", std::numeric_limits<qint64>::max(), "You:q Torvi:a"},
        {R"({"turns":-4,"preview":[[]]})", -3, "You:q Torvi:a"},
    };
    for (const auto& row : rows) {
        QJsonObject entry = object(row.entry);
        entry[u"id"_s] = u"a"_s;
        AskHistoryEntries all{entry};
        storeTurn(all, turn(u"a"_s), NOW);
        EXPECT_EQ(all[0][u"turns"_s].toInteger(), row.turns) << row.entry;
        EXPECT_EQ(previewOf(all[0]), QString::fromUtf8(row.preview)) << row.entry;
    }
}

TEST(AskHistoryEntries, TextsAreCutBetweenCharacters) {
    const QString family = u"👩‍👩‍👧"_s;
    AskHistoryEntries all;
    storeTurn(all, turn(u"a"_s, family.repeated(701), family.repeated(700)), NOW);
    EXPECT_EQ(all[0][u"first"_s].toString(), family.repeated(120));
    for (const PreviewLine& line : previewLines(all[0]))
        EXPECT_EQ(line.text, family.repeated(700));
}

TEST(AskHistoryEntries, TitlesAndEvictionGoById) {
    AskHistoryEntries all = entries(R"([{"id":7},{"id":"a"},{},{"id":"b"},{"id":"a"}])");
    EXPECT_TRUE(setTitle(all, u"a"_s, u"T"_s));
    EXPECT_EQ(entryWithId(all, u"a"_s), object(R"({"id":"a","title":"T"})"));
    EXPECT_FALSE(all[4].contains(u"title"_s));
    removeEntries(all, u"a"_s);
    removeEntries(all, QString());
    EXPECT_EQ(ids(all), (QStringList{u"?"_s, u"?"_s, u"b"_s}));
    EXPECT_FALSE(setTitle(all, u"a"_s, u"T"_s));
    EXPECT_FALSE(entryWithId(all, u"7"_s));
}

TEST(AskHistoryEntries, OtherShapesAreNoHistory) {
    for (const char* bytes :
         {"[]", "{", "text", "{\"sessions\":{}}", "{}", "{\"sessions\":[{},3]}", "\"\"", "\xff\xfe"})
        EXPECT_FALSE(parseAskHistory(bytes)) << bytes;
    for (const char* bytes : {"", " \n", R"({"sessions":[]})"})
        EXPECT_TRUE(parseAskHistory(bytes).value().isEmpty()) << bytes;
    const AskHistoryEntries all = entries(R"([{"id":"a","x":[null,true]},{}])");
    EXPECT_EQ(parseAskHistory(askHistoryBytes(all)).value(), all);
}

TEST(AskHistoryEntries, TitlesFitOneLine) {
    const struct {
        const char *entry, *title;
    } rows[] = {
        {R"({"title":"T","first":"F"})", "T"},
        {R"({"title":3,"first":"F"})", "F"},
        {R"({"title":"two\nlines\u0007\u2028 more\u0000"})", "two lines more"},
        {R"({"title":"\u202eabc\u2066 \u200fשלום"})", "abc \u200fשלום"},
        {R"({"title":" \n","first":"F"})", "F"},
        {R"({"first":null})", "(conversation)"},
        {"{}", "(conversation)"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(entryTitle(object(row.entry)), QString::fromUtf8(row.title)) << row.entry;
    EXPECT_LT(entryTitle({{u"title"_s, QString(50'000'000, QLatin1Char('m'))}}).size(), 1000);
}

TEST(RelTime, AgesInWordsAndWhatIsNoTimeInNone) {
    const struct {
        const char *iso, *age;
    } rows[] = {
        {"2026-11-16T19:28:06Z", "just now"},
        {"2026-11-16T19:28:05Z", "2m ago"},
        {"2026-11-16T18:30:06Z", "59m ago"},
        {"2026-11-16T18:30:05Z", "1h ago"},
        {"2026-11-15T19:30:06Z", "23h ago"},
        {"2026-11-15T19:30:05Z", "1d ago"},
        {"0001-01-01T00:00:00Z", "739935d ago"},
        {"2027-11-16T19:30:00Z", "just now"},
        {"2026-11-16T20:28:05+01:00", "2m ago"},
        {"2026-11-16T20:28:05+0100", "2m ago"},
        {"", ""},
        {"2026-11-16", ""},
        {"2026-11-16T19:29:35.5Z", ""},
        {"2026-13-16T19:29:35Z", ""},
        {" 2026-11-16T19:29:35Z", ""},
        {"2026-11-16T19:29:35Z\n", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(relTime(QString::fromUtf8(row.iso), NOW), QString::fromUtf8(row.age)) << row.iso;
}
