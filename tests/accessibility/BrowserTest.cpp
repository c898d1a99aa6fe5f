// Real browsers over pages of a server in this process.
#include "Support.h"

#include "base/Dispatch.h"
#include "capture/BrowserPage.h"
#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/helpers/Tools.h"

#include <QCoreApplication>
#include <QDir>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <map>

using namespace ovalin;
using namespace std::chrono_literals;

namespace {

/// Serves one page for each path; what is not there is 404.
class Pages {
public:
    Pages() {
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            while (QTcpSocket* socket = server.nextPendingConnection())
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
        });
    }
    QString add(const QString& path, const QString& title, const QString& body = QStringLiteral("text")) {
        bodies[path] = QStringLiteral("<!doctype html><meta charset=utf-8><title>%1</title><body>%2")
                           .arg(title.toHtmlEscaped(), body)
                           .toUtf8();
        return QStringLiteral("http://127.0.0.1:%1%2").arg(server.serverPort()).arg(path);
    }

private:
    void answer(QTcpSocket* socket) {
        if (!socket->peek(64 * 1024).contains("\r\n\r\n"))
            return;
        const QString path = QString::fromUtf8(socket->readAll().split(' ').value(1));
        const auto found = bodies.find(path);
        const QByteArray body = found == bodies.end() ? QByteArray() : found->second;
        socket->write(QByteArray(body.isEmpty() ? "HTTP/1.1 404 None" : "HTTP/1.1 200 OK") +
                      "\r\nConnection: close\r\nContent-Type: text/html\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\n\r\n" + body);
        socket->disconnectFromHost();
    }
    QTcpServer server;
    std::map<QString, QByteArray> bodies;
};

/// Browsers expose themselves only when they find this on at their start.
void turnAccessibilityOn(AtSpiAccessibility& accessibility) {
    bool enabled = false;
    accessibility.enable();
    ASSERT_TRUE(waitUntil([&] {
        bool answered = false;
        accessibility.queryEnabled([&](bool is) {
            answered = true;
            enabled = is;
        });
        return waitUntil([&] { return answered; }) && enabled;
    }));
}

std::optional<BrowserTab> frontTab(const QString& bundleId) {
    const QString tool = Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath())).osascript;
    return onWorker([&] { return browserTabInfoViaOsascript(bundleId, tool); });
}

/// Waits until the browser says so; the last answer is in the message otherwise.
testing::AssertionResult shows(const QString& bundleId, const QString& url, const QString& title, double seconds = 40) {
    std::optional<BrowserTab> tab;
    if (waitUntil(
            [&] {
                tab = frontTab(bundleId);
                return tab && tab->url == url && tab->title == title;
            },
            seconds))
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "shown: " << (tab ? tab->url + QLatin1Char('|') + tab->title.left(80) : QString()).toStdString()
           << ", not " << url.toStdString();
}

void press(const QString& key) { desk().xdotool({QStringLiteral("key"), key}); }

/// The installed one with an executable of another name.
QString chromiumCalled(const QString& name) {
    const QDir installed(QStringLiteral("/usr/lib/chromium"));
    const QDir ours(desk().path(QStringLiteral("browser")));
    QDir().mkpath(ours.path());
    for (const QString& file : installed.entryList(QDir::AllEntries | QDir::NoDotAndDotDot))
        QFile::link(installed.filePath(file), ours.filePath(file));
    QFile::copy(installed.filePath(QStringLiteral("chromium")), ours.filePath(name));
    return ours.filePath(name);
}

struct OddTitle {
    const char* path;
    QString title;
    QString shown;
};
std::vector<OddTitle> oddTitles() {
    const QString longTitle(10'000, QLatin1Char('x'));
    const QString quotes = QStringLiteral("\"q\" 'q' \\ & — 😀");
    const QString rightToLeft = QStringLiteral("שלום עולם");
    return {{"/quotes", quotes, quotes},
            {"/lines", QStringLiteral("a\nb"), QStringLiteral("a b")},
            {"/rtl", rightToLeft, rightToLeft},
            {"/long", longTitle, longTitle}};
}

} // namespace

TEST(Browsers, ChromiumTellsItsFrontTab) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, sessionBusAddress(), 3s);
    turnAccessibilityOn(accessibility);
    Pages pages;
    const QString chromium = QStringLiteral("org.chromium.Chromium");
    EXPECT_FALSE(frontTab(chromium)) << "it does not run yet";
    const QString one =
        pages.add(QStringLiteral("/one"), QStringLiteral("Page one"), QStringLiteral("<iframe src=/quotes></iframe>"));
    const QString two = pages.add(QStringLiteral("/two?a=b"), QStringLiteral("Page two"));
    const QStringList options{QStringLiteral("--no-sandbox"),
                              QStringLiteral("--disable-gpu"),
                              QStringLiteral("--no-first-run"),
                              QStringLiteral("--disable-background-networking"),
                              QStringLiteral("--disable-component-update"),
                              QStringLiteral("--disable-sync"),
                              QStringLiteral("--disable-quic"),
                              QStringLiteral("--password-store=basic"),
                              QStringLiteral("--user-data-dir=") + desk().path(QStringLiteral("chromium")),
                              QStringLiteral("--force-renderer-accessibility")};
    const QString program = chromiumCalled(QStringLiteral("chrome"));
    QProcess& browser = desk().start(program, options + QStringList{one, two});
    ASSERT_TRUE(shows(chromium, one, QStringLiteral("Page one"))) << desk().log(QStringLiteral("chrome")).toStdString();
    press(QStringLiteral("ctrl+Next"));
    EXPECT_TRUE(shows(chromium, two, QStringLiteral("Page two")));
    for (const OddTitle& odd : oddTitles()) {
        const QString url = pages.add(QString::fromLatin1(odd.path), odd.title);
        desk().start(program, options + QStringList{url});
        EXPECT_TRUE(shows(chromium, url, odd.shown)) << odd.path;
    }
    const QString window = pages.add(QStringLiteral("/window"), QStringLiteral("Second window"));
    desk().start(program, options + QStringList{QStringLiteral("--new-window"), window});
    const auto toFront = [](const QString& title) {
        desk().xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), desk().waitForWindow(title)});
    };
    toFront(QStringLiteral("Second window"));
    EXPECT_TRUE(shows(chromium, window, QStringLiteral("Second window")));
    toFront(QStringLiteral("xxxxxx"));
    EXPECT_TRUE(shows(chromium, pages.add(QStringLiteral("/long"), {}), QString(10'000, QLatin1Char('x'))));

    EXPECT_FALSE(frontTab(QStringLiteral("com.google.Chrome"))) << "another browser";
    {
        const Stopped stop(browser);
        EXPECT_FALSE(frontTab(chromium));
    }
    desk().end(browser);
    EXPECT_FALSE(frontTab(chromium));
}

TEST(Browsers, FirefoxTellsItsFrontTabAndItsSelections) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, sessionBusAddress(), 3s);
    turnAccessibilityOn(accessibility);
    Pages pages;
    const QString firefox = QStringLiteral("org.mozilla.firefox");
    const QString one = pages.add(QStringLiteral("/one"), QStringLiteral("Page \"one\" שלום"),
                                  QStringLiteral("<p>First 😀 <a href=x>link</a> end<p>Second"));
    const QString two = pages.add(QStringLiteral("/two"), QStringLiteral("Page two"));
    const QString profile = desk().path(QStringLiteral("firefox"));
    writeFile(profile + QStringLiteral("/user.js"), "user_pref('browser.aboutwelcome.enabled', false);\n"
                                                    "user_pref('datareporting.policy.dataSubmissionEnabled', false);\n"
                                                    "user_pref('browser.shell.checkDefaultBrowser', false);\n"
                                                    "user_pref('termsofuse.bypassNotification', true);\n");
    QProcess& browser = desk().start(QStringLiteral("firefox-esr"),
                                     {QStringLiteral("--no-remote"), QStringLiteral("--profile"), profile, one, two});
    ASSERT_TRUE(shows(firefox, one, QStringLiteral("Page \"one\" שלום")))
        << desk().log(QStringLiteral("firefox-esr")).toStdString();

    desk().xdotool({QStringLiteral("mousemove"), QStringLiteral("600"), QStringLiteral("500"), QStringLiteral("click"),
                    QStringLiteral("1")});
    AccessibleSelection selection;
    EXPECT_TRUE(waitUntil([&] {
        press(QStringLiteral("ctrl+a"));
        selection = onWorker([&] { return accessibility.selection({static_cast<qint32>(browser.processId()), 0}); });
        return selection.text.trimmed() == QStringLiteral("First 😀 link end\nSecond");
    })) << selection.text.toStdString();
    EXPECT_TRUE(selection.page);

    press(QStringLiteral("ctrl+Next"));
    EXPECT_TRUE(shows(firefox, two, QStringLiteral("Page two")));
    {
        const Stopped stop(browser);
        EXPECT_FALSE(frontTab(firefox));
    }
    desk().end(browser);
}
