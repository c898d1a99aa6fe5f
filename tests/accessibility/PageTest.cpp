// The front page of a browser that behaves as the test wants, and the command line of the tool.
#include "FakeTree.h"

#include "platform/atspi/AtSpiPage.h"
#include "platform/helpers/Tools.h"

#include <QCoreApplication>

#include <unistd.h>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

using Attributes = QMap<QString, QString>;

FakeObject window(const QString& name, bool active, const QStringList& documents) {
    FakeObject object{.role = 23, .states = {AtSpiState::Showing}, .children = documents, .name = name};
    if (active)
        object.states.push_back(AtSpiState::Active);
    return object;
}

FakeObject document(const Attributes& attributes, const QString& name = {}, bool showing = true) {
    return {.role = AtSpiRole::DocumentWeb,
            .states = showing ? std::vector<uint>{AtSpiState::Showing} : std::vector<uint>{},
            .document = attributes,
            .name = name};
}

struct Row {
    const char* property;
    std::map<QString, FakeObject> objects;
    QString url;
    QString title = {};
};

std::vector<Row> rows() {
    const QString app = QStringLiteral("/app"), w1 = QStringLiteral("/w1"), w2 = QStringLiteral("/w2");
    const QString d1 = QStringLiteral("/d1"), d2 = QStringLiteral("/d2"), d3 = QStringLiteral("/d3");
    const QString uri = QStringLiteral("URI"), docUrl = QStringLiteral("DocURL"), title = QStringLiteral("Title");
    const QString under = QStringLiteral("Under"), over = QStringLiteral("Over");
    const QString a = QStringLiteral("http://a/"), b = QStringLiteral("http://b/");
    const FakeObject oneWindow{.children = {w1}}, twoWindows{.children = {w1, w2}};
    return {
        {"attributes of Chromium",
         {{app, oneWindow}, {w1, window(over, true, {d1})}, {d1, document({{uri, a}, {title, over}}, under)}},
         a,
         over},
        {"attributes of Firefox",
         {{app, oneWindow}, {w1, window(over, true, {d1})}, {d1, document({{docUrl, a}}, over)}},
         a,
         over},
        {"a page without a name yet",
         {{app, oneWindow},
          {w1, window(QStringLiteral("a - b — Mozilla Firefox"), true, {d1})},
          {d1, document({{docUrl, a}})}},
         a,
         QStringLiteral("a - b")},
        {"a title of several lines",
         {{app, oneWindow},
          {w1, window(over, true, {d1})},
          {d1, document({{uri, a}, {title, QStringLiteral("a\nb\tc")}})}},
         a,
         QStringLiteral("a b c")},
        {"a hidden frame before the page",
         {{app, oneWindow},
          {w1, window(over, true, {d1, d2})},
          {d1, document({{uri, QString()}})},
          {d2, document({{uri, a}})}},
         a},
        {"only the tab that shows",
         {{app, oneWindow},
          {w1, window(over, true, {d1, d2})},
          {d1, document({{uri, a}}, {}, false)},
          {d2, document({{uri, b}})}},
         b},
        {"the active window where titles do not tell",
         {{app, twoWindows},
          {w1, window(over, false, {d1})},
          {w2, window(over, true, {d2})},
          {d1, document({{uri, a}})},
          {d2, document({{uri, b}})}},
         b},
        {"the upper window, whichever says that it is active",
         {{app, twoWindows},
          {w1, window(under, true, {d1})},
          {w2, window(over, false, {d2})},
          {d1, document({{uri, a}})},
          {d2, document({{uri, b}})}},
         b},
        {"an active window without a page",
         {{app, twoWindows},
          {w1, window(over, true, {})},
          {w2, window(under, false, {d3})},
          {d3, document({{uri, a}})}},
         a},
        {"no window", {{app, {}}}, {}},
        {"no page", {{app, oneWindow}, {w1, window(over, true, {})}}, {}},
    };
}

} // namespace

TEST(FrontPage, IsThatOfTheFrontWindow) {
    FakeTree fake;
    AtSpiBus bus(fake.address());
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.property);
        fake.objects = row.objects;
        const auto read = [&](bool isBrowser) {
            return onWorker([&] {
                const auto query = bus.open(QDeadlineTimer(10s));
                const auto wanted = [&](qint32 pid) { return isBrowser && pid == ::getpid(); };
                const auto names = [] { return QStringList{QStringLiteral("Over"), QStringLiteral("Under")}; };
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

/// A notification service that keeps what it was told.
class FakeNotifications final : public QDBusVirtualObject {
public:
    explicit FakeNotifications(const QDBusConnection& use)
        : session(use) {
        session.registerVirtualObject(PATH, this);
        session.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    ~FakeNotifications() override {
        session.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        session.unregisterObject(PATH);
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const bool shows = message.member() == QLatin1String("Notify");
        if (shows)
            shown << message.arguments().value(3).toString() + QLatin1Char('|') +
                         message.arguments().value(4).toString();
        connection.send(
            message.createReply(shows ? QVariant(1U) : QVariant(QStringList{QStringLiteral("body-markup")})));
        return true;
    }
    QStringList shown;

private:
    const QString PATH = QStringLiteral("/org/freedesktop/Notifications");
    QDBusConnection session;
};

struct Ran {
    int status = -1;
    QString errors;
};

Ran osascript(const QStringList& arguments, const QString& busAddress) {
    return onWorker([&] {
        QProcess process;
        QProcessEnvironment environment = desk().environment;
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
        process.setProcessEnvironment(environment);
        process.start(Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())).osascript, arguments);
        process.waitForFinished(10'000);
        return Ran{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                   QString::fromUtf8(process.readAllStandardError())};
    });
}

} // namespace

TEST(Osascript, NotificationsAreShown) {
    FakeTree fake;
    QDBusConnection connection = QDBusConnection::connectToBus(fake.address(), QStringLiteral("notifications"));
    FakeNotifications service(connection);
    const std::pair<QString, QString> rows[] = {
        {QStringLiteral(R"(display notification "Done" with title "Ovalin — ready")"),
         QStringLiteral("Ovalin — ready|Done")},
        {QStringLiteral(R"(display notification "a \"b\" \\ c\nd")"), QStringLiteral("Ovalin|a &quot;b&quot; \\ c\nd")},
        {QStringLiteral("display notification \"<i>") + QString(10'000, QLatin1Char('x')) +
             QStringLiteral("\" with title \"\""),
         QStringLiteral("Ovalin|&lt;i&gt;") + QString(10'000, QLatin1Char('x'))},
    };
    for (const auto& [script, shown] : rows) {
        service.shown.clear();
        const Ran ran = osascript({QStringLiteral("-e"), script}, fake.address());
        EXPECT_EQ(ran.status, 0) << ran.errors.toStdString();
        EXPECT_EQ(service.shown, QStringList{shown});
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("notifications"));
}

TEST(Osascript, WhatItCannotDoIsSaidWithStatusOne) {
    FakeTree fake;
    const Stopped stop(fake.busDaemon());
    const QString page =
        QStringLiteral(R"(tell application "%1" to return (URL of active tab of front window) & "\n" & )"
                       R"((title of active tab of front window))");
    const QStringList commands[] = {
        {},
        {QStringLiteral("script.scpt")},
        {QStringLiteral("-e"), QStringLiteral("display dialog \"x\"")},
        {QStringLiteral("-e"), QStringLiteral("display notification \"open")},
        {QStringLiteral("-e"), QStringLiteral("display notification \"a\" & \"b\"")},
        {QStringLiteral("-e"), page.arg(QStringLiteral("Netscape"))},
        {QStringLiteral("-e"), page.arg(QStringLiteral("Safari"))},
        {QStringLiteral("-e"), QStringLiteral("display notification \"nobody shows it\"")},
    };
    for (const QStringList& command : commands) {
        SCOPED_TRACE(command.join(QLatin1Char(' ')).toStdString());
        const Ran ran = osascript(command, fake.address());
        EXPECT_EQ(ran.status, 1);
        EXPECT_TRUE(ran.errors.startsWith(QLatin1String("osascript: "))) << ran.errors.toStdString();
    }
}
