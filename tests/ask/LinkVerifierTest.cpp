#include "ask/LinkVerifier.h"

#include "HttpServer.h"
#include "ask/WebSearch.h"
#include "support/TestDesk.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <optional>

using namespace ovalin;

namespace {

struct Links : testing::Test {
    HttpServer server;
    LinkCheckLimits limits;

    Links() {
        for (const char* proxy : {"http_proxy", "all_proxy", "ALL_PROXY"})
            qunsetenv(proxy);
    }
    [[nodiscard]] ReplacementTable check(const std::vector<LinkPair>& pairs) const {
        LinkVerifier verifier(limits);
        std::optional<ReplacementTable> table;
        verifier.verifyURLs(pairs, [&](ReplacementTable result) {
            EXPECT_TRUE(QThread::currentThread() == QCoreApplication::instance()->thread());
            table = std::move(result);
        });
        EXPECT_FALSE(table) << "it returns first";
        EXPECT_TRUE(waitUntil([&] { return table.has_value(); }, 20));
        return table.value_or(ReplacementTable{});
    }
    /// The answer's links, each with its path as its text.
    [[nodiscard]] std::vector<LinkPair> pairs(const char* paths) const {
        std::vector<LinkPair> all;
        for (const QString& path : QString::fromUtf8(paths).split(QLatin1Char(' ')))
            all.push_back({path, server.url(path)});
        return all;
    }
    /// The texts of the links that the table replaces.
    static QString replaced(const std::vector<LinkPair>& all, const ReplacementTable& table) {
        QStringList texts;
        for (const LinkPair& pair : all) {
            if (table.contains(pair.url)) {
                EXPECT_EQ(table[pair.url], googleSearchURL(pair.anchor));
                texts.append(pair.anchor);
            }
        }
        EXPECT_EQ(table.size(), texts.size());
        return texts.join(QLatin1Char(' '));
    }
    void redirect(const char* from, const QString& to) {
        server.answers[from] = "301 Moved\r\nLocation: " + to.toUtf8();
    }
};

} // namespace

TEST_F(Links, PagesThatAreGoneLeadToASearchAndAllOthersStay) {
    server.answers = {{"/ok", "200 OK"},
                      {"/gone", "410 Gone"},
                      {"/missing", "404 Not Found"},
                      {"/busy", "503 Busy"},
                      {"/refused", "403 Forbidden"},
                      {"/login", "401 Unauthorized"},
                      {"/get-only", "405 No"},
                      {"/odd", "300 Multiple Choices"},
                      {"/not-found", "200 OK"},
                      {"/NotFound.html", "200 OK"},
                      {"/close", "-"}};
    redirect("/a", QStringLiteral("/b"));
    redirect("/b", server.url(QStringLiteral("/ok")));
    redirect("/soft", QStringLiteral("/not-found"));
    redirect("/hard", QStringLiteral("/missing"));
    redirect("/round", QStringLiteral("/round"));
    redirect("/elsewhere", QStringLiteral("file:///etc/passwd"));
    const auto all =
        pairs("/ok /gone /missing /busy /refused /login /get-only /odd /a /soft /hard /NotFound.html /round "
              "/elsewhere /close");
    EXPECT_EQ(replaced(all, check(all)), QStringLiteral("/gone /missing /busy /soft /hard /NotFound.html"));
    for (const QByteArray& request : server.requests)
        EXPECT_TRUE(request.startsWith("HEAD ")) << request.constData();
}

TEST_F(Links, AServerThatNeverAnswersKeepsItsLinkAndHoldsUpNoOther) {
    limits.perLink = std::chrono::milliseconds(300);
    server.answers = {{"/silent", ""}, {"/missing", "404 Not Found"}};
    const auto all = pairs("/silent /missing");
    EXPECT_EQ(replaced(all, check(all)), QStringLiteral("/missing"));
}

TEST_F(Links, TheWholeCheckHasAnEnd) {
    limits = {std::chrono::hours(1), std::chrono::milliseconds(300), 1};
    const auto all = pairs("/silent /never-asked");
    EXPECT_TRUE(check(all).isEmpty());
    EXPECT_EQ(server.paths(), QList<QByteArray>{"/silent"});
}

TEST_F(Links, OverIPv6Too) {
    HttpServer six(QHostAddress::LocalHostIPv6);
    if (!six.listening)
        GTEST_SKIP() << "no IPv6 here";
    six.answers["/missing"] = "404 Not Found";
    const std::vector<LinkPair> all{{QStringLiteral("a"), six.url(QStringLiteral("/missing"))}};
    EXPECT_EQ(replaced(all, check(all)), QStringLiteral("a"));
}

TEST_F(Links, NoCookiesAndNoCredentialsAreSent) {
    server.answers = {{"/login", "401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nSet-Cookie: a=b"},
                      {"/missing", "404 Not Found"}};
    redirect("/cookie", QStringLiteral("/login"));
    server.answers["/cookie"] += "\r\nSet-Cookie: c=d; Path=/";
    QString withUser = server.url(QStringLiteral("/missing"));
    withUser.replace(QStringLiteral("http://"), QStringLiteral("http://me:secret@"));
    redirect("/leads-to-user", withUser);
    auto all = pairs("/login /cookie /leads-to-user");
    all.push_back({QStringLiteral("user"), withUser});
    EXPECT_EQ(replaced(all, check(all)), QStringLiteral("user"));
    for (const QByteArray& request : server.requests) {
        for (const char* header : {"cookie:", "authorization:", "secret"})
            EXPECT_FALSE(request.toLower().contains(header)) << request.constData();
    }
}

TEST_F(Links, EachAddressIsAskedForOnceAndOnlyIfItCanBe) {
    server.answers["/missing"] = "404 Not Found";
    auto all = pairs("/missing /missing");
    all[1].anchor = QStringLiteral("another text");
    for (const char* url : {"https://www.google.com/search?q=x", "mailto:a@b.example", "page.html", "http://[broken/",
                            "ftp://127.0.0.1/x", "javascript:alert(1)", "http:///x"})
        all.push_back({QStringLiteral("x"), QString::fromUtf8(url)});
    const ReplacementTable table = check(all);
    EXPECT_EQ(table.size(), 1);
    EXPECT_EQ(table[all[0].url], googleSearchURL(QStringLiteral("/missing")));
    EXPECT_EQ(server.requests.size(), 1);
}

TEST_F(Links, TenThousandLinksAreCheckedToTheLast) {
    std::vector<LinkPair> all;
    for (int i = 0; i < 10000; ++i) {
        const QString path = QStringLiteral("/p%1").arg(i);
        server.answers[path.toUtf8()] = i % 100 == 99 ? "404 Not Found" : "200 OK";
        all.push_back({path, server.url(path)});
    }
    EXPECT_EQ(replaced(all, check(all)).count(QLatin1Char('/')), 100);
    EXPECT_EQ(server.requests.size(), 10000);
}

TEST_F(Links, AVerifierThatGoesTakesItsChecksWithIt) {
    bool called = false;
    {
        LinkVerifier verifier;
        verifier.verifyURLs(pairs("/silent"), [&](const ReplacementTable&) { called = true; });
        EXPECT_TRUE(waitUntil([this] { return !server.requests.isEmpty(); }));
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(called);
}
