// The front page of a browser that behaves as the test wants, and the command line of the tool.
#include "FakeTree.h"

#include "platform/atspi/AtSpiPage.h"
#include "platform/helpers/Tools.h"

namespace {

using Attributes = QMap<QString, QString>;

/// With the documents of these numbers.
FakeObject window(const char* name, bool active, const std::vector<int>& documents) {
    FakeObject object{.role = 23, .states = {AtSpiState::Showing}, .name = QString::fromUtf8(name)};
    for (const int number : documents)
        object.children << u"/document%1"_s.arg(number);
    if (active)
        object.states.push_back(AtSpiState::Active);
    return object;
}

FakeObject document(const Attributes& attributes, const QString& name = {}) {
    return {.role = AtSpiRole::DocumentWeb, .document = attributes, .name = name};
}

FakeObject hidden(FakeObject object) {
    object.states.clear();
    return object;
}

struct Row {
    const char* property;
    std::vector<FakeObject> windows;
    std::vector<FakeObject> documents;
    QString url;
    QString title = {};

    [[nodiscard]] std::map<QString, FakeObject> objects() const {
        std::map<QString, FakeObject> all{{u"/app"_s, {}}};
        for (size_t i = 0; i < windows.size(); ++i) {
            all[u"/app"_s].children << u"/window%1"_s.arg(i);
            all[u"/window%1"_s.arg(i)] = windows[i];
        }
        for (size_t i = 0; i < documents.size(); ++i)
            all[u"/document%1"_s.arg(i)] = documents[i];
        return all;
    }
};

std::vector<Row> rows() {
    const QString uri = u"URI"_s, docUrl = u"DocURL"_s, title = u"Title"_s;
    const QString a = u"http://a/"_s, b = u"http://b/"_s, over = u"Over"_s;
    const FakeObject front = window("Over", true, {0});
    const FakeObject two = window("Over", true, {0, 1}), bare = window("Over", true, {});
    const FakeObject pageA = document({{uri, a}}), pageB = document({{uri, b}});
    return {
        {"attributes of Chromium", {front}, {document({{uri, a}, {title, over}}, u"Under"_s)}, a, over},
        {"attributes of Firefox", {front}, {document({{docUrl, a}}, over)}, a, over},
        {"no name yet", {window("a - b — Mozilla Firefox", true, {0})}, {document({{docUrl, a}})}, a, u"a - b"_s},
        {"a title of several lines", {front}, {document({{uri, a}, {title, u"a\nb\tc"_s}})}, a, u"a b c"_s},
        {"a hidden frame before the page", {two}, {document({{uri, QString()}}), pageA}, a},
        {"only the tab that shows", {two}, {hidden(pageA), pageB}, b},
        {"titles do not tell: the active one",
         {window("Over", false, {0}), window("Over", true, {1})},
         {pageA, pageB},
         b},
        {"the upper one, active or not", {window("Under", true, {0}), window("Over", false, {1})}, {pageA, pageB}, b},
        {"an active window without a page", {bare, window("Under", false, {0})}, {pageA}, a},
        {"no window", {}, {}, {}},
        {"no page", {bare}, {}, {}},
    };
}

} // namespace

TEST(FrontPage, IsThatOfTheFrontWindow) {
    FakeTree fake;
    AtSpiBus bus(fake.address());
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.property);
        fake.objects = row.objects();
        const auto read = [&](bool isBrowser) {
            return onWorker([&] {
                const auto query = bus.open(QDeadlineTimer(10s));
                const auto wanted = [&](qint32 pid) { return isBrowser && pid == ::getpid(); };
                const auto names = [] { return QStringList{u"Over"_s, u"Under"_s}; };
                return query ? frontPage(*query, wanted, names) : std::nullopt;
            });
        };
        EXPECT_FALSE(read(false));
        const AtSpiPage page = read(true).value_or(AtSpiPage{});
        EXPECT_EQ(page.url, row.url);
        EXPECT_EQ(page.title, row.title);
    }
}

namespace {

struct Ran {
    int status = -1;
    QString errors;
};

Ran osascript(const QStringList& arguments, const QString& busAddress) {
    return onWorker([&] {
        QProcess process;
        QProcessEnvironment environment = desk().environment;
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, busAddress);
        process.setProcessEnvironment(environment);
        process.start(Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())).osascript, arguments);
        process.waitForFinished(10'000);
        return Ran{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                   QString::fromUtf8(process.readAllStandardError())};
    });
}

} // namespace

TEST(Osascript, NotificationsAreShown) {
    const QString bus = desk().environment.value(u"DBUS_SESSION_BUS_ADDRESS"_s);
    FakeNotifications service(bus);
    const std::pair<QString, QString> rows[] = {
        {QStringLiteral(R"(display notification "Done" with title "Ovalin — ready")"), u"Ovalin — ready|Done"_s},
        {QStringLiteral(R"(display notification "a \"b\" \\ c\nd")"), u"Ovalin|a \"b\" \\ c\nd"_s},
        {u"display notification \"<i>"_s + QString(10'000, u'x') + u"\" with title \"\""_s,
         u"Ovalin|&lt;i&gt;"_s + QString(10'000, u'x')},
    };
    for (const auto& [script, shown] : rows) {
        service.shown.clear();
        const Ran ran = osascript({u"-e"_s, script}, bus);
        EXPECT_EQ(ran.status, 0) << ran.errors.toStdString();
        ASSERT_EQ(service.shown.size(), 1u);
        EXPECT_EQ(service.shown[0].title + u'|' + service.shown[0].body, shown);
    }
}

TEST(Osascript, WhatItCannotDoIsSaidWithStatusOne) {
    FakeTree fake;
    const Stopped stop = fake.hangBus();
    const QString page =
        QStringLiteral(R"(tell application "%1" to return (URL of active tab of front window) & "\n" & )"
                       R"((title of active tab of front window))");
    const QStringList commands[] = {
        {},
        {u"script.scpt"_s},
        {u"-e"_s, u"display dialog \"x\""_s},
        {u"-e"_s, u"display notification \"open"_s},
        {u"-e"_s, u"display notification \"a\" & \"b\""_s},
        {u"-e"_s, page.arg(u"Netscape"_s)},
        {u"-e"_s, page.arg(u"Safari"_s)},
        {u"-e"_s, u"display notification \"nobody shows it\""_s},
    };
    for (const QStringList& command : commands) {
        SCOPED_TRACE(command.join(u' ').toStdString());
        const Ran ran = osascript(command, fake.address());
        EXPECT_EQ(ran.status, 1);
        EXPECT_TRUE(ran.errors.startsWith("osascript: "_L1)) << ran.errors.toStdString();
    }
}
