#include "ask/LinkVerifier.h"

#include "ask/WebSearch.h"
#include "support/HttpServer.h"

#include <QThread>
#include <QUrl>

namespace {

struct Links : testing::Test {
    HttpServer server;
    LinkCheckLimits limits;

    Links() {
        for (const char* proxy : {"http_proxy", "all_proxy", "ALL_PROXY"})
            qunsetenv(proxy);
        // Pages of the Internet, as far as anybody here can tell.
        for (const char* name : {"pages.example", "others.example"})
            limits.network.names.push_back(QByteArray(name) + ':' + port() + ":203.0.113.7");
        limits.network.names.push_back("inside.example:" + port() + ":127.0.0.1");
        limits.network.peer = [](const QHostAddress&) { return QHostAddress(QHostAddress::LocalHost); };
    }
    [[nodiscard]] QByteArray port() const { return QByteArray::number(QUrl(server.url({})).port()); }
    [[nodiscard]] QString at(const char* host, const QString& path) const {
        return u"http://%1:%2%3"_s.arg(QLatin1String(host), QLatin1String(port()), path);
    }
    [[nodiscard]] ReplacementTable check(const std::vector<LinkPair>& pairs, const QString& pageHost = {}) const {
        LinkVerifier verifier(limits);
        std::optional<ReplacementTable> table;
        verifier.verifyURLs(pairs, pageHost, [&](ReplacementTable result) {
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
            all.push_back({path, at("pages.example", path)});
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
    redirect("/a", u"/b"_s);
    redirect("/b", at("others.example", u"/ok"_s));
    redirect("/soft", u"/not-found"_s);
    redirect("/hard", u"/missing"_s);
    redirect("/round", u"/round"_s);
    redirect("/elsewhere", u"file:///etc/passwd"_s);
    const auto all =
        pairs("/ok /gone /missing /busy /refused /login /get-only /odd /a /soft /hard /NotFound.html /round "
              "/elsewhere /close");
    EXPECT_EQ(replaced(all, check(all)), u"/gone /missing /busy /soft /hard /NotFound.html"_s);
    for (const QByteArray& request : server.requests)
        EXPECT_TRUE(request.startsWith("HEAD ")) << request.constData();
}

TEST_F(Links, AServerThatNeverAnswersKeepsItsLinkAndHoldsUpNoOther) {
    limits.perLink = std::chrono::milliseconds(300);
    server.answers = {{"/silent", ""}, {"/missing", "404 Not Found"}};
    const auto all = pairs("/silent /missing");
    EXPECT_EQ(replaced(all, check(all)), u"/missing"_s);
}

TEST_F(Links, TheWholeCheckHasAnEnd) {
    limits.perLink = std::chrono::hours(1);
    limits.altogether = std::chrono::milliseconds(300);
    limits.atOnce = 1;
    const auto all = pairs("/silent /never-asked");
    EXPECT_TRUE(check(all).isEmpty());
    EXPECT_EQ(server.paths(), QList<QByteArray>{"/silent"});
}

TEST_F(Links, OverIPv6Too) {
    HttpServer six(QHostAddress::LocalHostIPv6);
    if (!six.listening)
        GTEST_SKIP() << "no IPv6 here";
    six.answers["/missing"] = "404 Not Found";
    const std::vector<LinkPair> all{{u"a"_s, six.url(u"/missing"_s)}};
    EXPECT_EQ(replaced(all, check(all, u"::1"_s)), u"a"_s);
}

TEST_F(Links, NoCookiesAndNoCredentialsAreSent) {
    server.answers = {{"/login", "401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nSet-Cookie: a=b"},
                      {"/missing", "404 Not Found"}};
    redirect("/cookie", u"/login"_s);
    server.answers["/cookie"] += "\r\nSet-Cookie: c=d; Path=/";
    QString withUser = at("pages.example", u"/missing"_s);
    withUser.replace(u"http://"_s, u"http://me:secret@"_s);
    redirect("/leads-to-user", withUser);
    auto all = pairs("/login /cookie /leads-to-user");
    all.push_back({u"user"_s, withUser});
    EXPECT_EQ(replaced(all, check(all)), u"user"_s);
    for (const QByteArray& request : server.requests) {
        for (const char* header : {"cookie:", "authorization:", "secret"})
            EXPECT_FALSE(request.toLower().contains(header)) << request.constData();
    }
}

TEST_F(Links, EachAddressIsAskedForOnceAndOnlyIfItCanBe) {
    server.answers["/missing"] = "404 Not Found";
    auto all = pairs("/missing /missing");
    all[1].anchor = u"another text"_s;
    for (const char* url : {"https://www.google.com/search?q=x", "mailto:a@b.example", "page.html", "http://[broken/",
                            "ftp://127.0.0.1/x", "javascript:alert(1)", "http:///x"})
        all.push_back({u"x"_s, QString::fromUtf8(url)});
    const ReplacementTable table = check(all);
    EXPECT_EQ(table.size(), 1);
    EXPECT_EQ(table[all[0].url], googleSearchURL(u"/missing"_s));
    EXPECT_EQ(server.requests.size(), 1);
}

TEST_F(Links, TenThousandLinksAreCheckedToTheLast) {
    std::vector<LinkPair> all;
    for (int i = 0; i < 10000; ++i) {
        const QString path = u"/p%1"_s.arg(i);
        server.answers[path.toUtf8()] = i % 100 == 99 ? "404 Not Found" : "200 OK";
        all.push_back({path, at("pages.example", path)});
    }
    EXPECT_EQ(replaced(all, check(all)).count(QLatin1Char('/')), 100);
    EXPECT_EQ(server.requests.size(), 10000);
}

TEST_F(Links, AVerifierThatGoesTakesItsChecksWithIt) {
    bool called = false;
    {
        LinkVerifier verifier(limits);
        verifier.verifyURLs(pairs("/silent"), {}, [&](const ReplacementTable&) { called = true; });
        EXPECT_TRUE(waitUntil([this] { return !server.requests.isEmpty(); }));
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(called);
}

TEST_F(Links, MachinesWithoutAPublicAddressAreLeftAlone) {
    server.answers = {{"/missing", "404 Not Found"}};
    redirect("/in", server.url(u"/missing"_s));
    redirect("/by-name", at("inside.example", u"/missing"_s));
    std::vector<LinkPair> all = pairs("/in /by-name");
    for (const char* host : {"127.0.0.1", "localhost", "inside.example", "0.0.0.0", "2130706433", "[::ffff:127.0.0.1]"})
        all.push_back({QLatin1String(host), at(host, u"/missing"_s)});
    EXPECT_EQ(replaced(all, check(all)), QString());
    EXPECT_FALSE(server.paths().contains("/missing"));
    // But the page in view may be anywhere, and so may what it links to on its own host.
    EXPECT_EQ(replaced(all, check(all, u"Inside.example"_s)), u"/by-name inside.example"_s);
}

TEST_F(Links, PublicAddressesAreThoseOfTheInternet) {
    for (const char* address : {"8.8.8.8", "2001:4860:4860::8888", "172.32.0.1", "100.128.0.1", "::ffff:8.8.8.8"})
        EXPECT_TRUE(isPublic(QHostAddress(QLatin1String(address)))) << address;
    for (const char* address : {"127.0.0.1", "127.9.9.9", "10.1.2.3", "172.31.0.1", "192.168.1.1", "169.254.169.254",
                                "100.64.0.1", "0.0.0.0", "224.0.0.1", "255.255.255.255", "::1", "::", "fe80::1",
                                "fc00::1", "fd12::1", "ff02::1", "::ffff:10.0.0.1", "::ffff:127.0.0.1"})
        EXPECT_FALSE(isPublic(QHostAddress(QLatin1String(address)))) << address;
}
