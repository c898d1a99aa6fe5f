#include "LinkCheck.h"

#include "WebSearch.h"

#include "base/Log.h"

#include <QSet>
#include <QUrl>

#include <array>
#include <memory>
#include <unordered_map>

#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int STOP_LATENCY = 50; // ms
constexpr long MAX_REDIRECTS = 20;
constexpr const char* USER_AGENT = "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 "
                                   "(KHTML, like Gecko) Version/17 Safari/605.1.15";

struct Request {
    const LinkPair* pair;
    QByteArray url; ///< encoded for the wire, without user information
};

/// Behind a proxy the address in hand is not the page's: then the name has to do.
bool isPublicName(const QString& host) {
    QHostAddress address;
    if (address.setAddress(host))
        return isPublic(address);
    return host.contains(QLatin1Char('.')) && !host.endsWith(QLatin1String(".localhost")) &&
           !host.endsWith(QLatin1String(".local")) && !host.endsWith(QLatin1String(".internal"));
}

/// What is to be asked for: each http or https address once, at its first place in the answer.
std::vector<Request> requestsFor(const std::vector<LinkPair>& pairs) {
    std::vector<Request> requests;
    QSet<QString> seen;
    for (const LinkPair& pair : pairs) {
        const QUrl url(pair.url);
        const bool web = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
        if (!web || !url.isValid() || url.host().isEmpty() || isSearchPage(pair.url) || seen.contains(pair.url))
            continue;
        seen.insert(pair.url);
        requests.push_back({&pair, url.toEncoded(QUrl::RemoveUserInfo)});
    }
    return requests;
}

int portOf(const sockaddr& address) {
    return ntohs(address.sa_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

/// Only of the same family.
void setAddress(sockaddr& place, const QHostAddress& address) {
    if (place.sa_family == AF_INET)
        reinterpret_cast<sockaddr_in&>(place).sin_addr.s_addr = htonl(address.toIPv4Address());
}

struct MultiDeleter {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using Multi = std::unique_ptr<CURLM, MultiDeleter>;

/// One request on its way, part of the multi handle as long as it lives.
class Transfer {
public:
    Transfer(CURLM* transfers, const Request& request, const QString& theHost, const LinkCheckLimits& theLimits)
        : multi(transfers)
        , pair(request.pair)
        , pageHost(theHost)
        , limits(theLimits)
        , easy(curl_easy_init()) {
        if (easy == nullptr)
            return;
        curl_easy_setopt(easy, CURLOPT_URL, request.url.constData());
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
        curl_easy_setopt(easy, CURLOPT_USERAGENT, USER_AGENT);
        curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(limits.perLink.count()));
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy, CURLOPT_MAXREDIRS, MAX_REDIRECTS);
        curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_DISALLOW_USERNAME_IN_URL, 1L); // a redirect may bring one
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // else a name server that hangs holds up the end of a transfer
        for (const QByteArray& name : limits.network.names)
            names = curl_slist_append(names, name.constData());
        curl_easy_setopt(easy, CURLOPT_RESOLVE, names);
        curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &Transfer::openSocket);
        curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, this);
        curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Transfer::mayAsk);
        curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
        curl_multi_add_handle(multi, easy);
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer() {
        curl_multi_remove_handle(multi, easy);
        curl_easy_cleanup(easy);
        curl_slist_free_all(names);
    }

    [[nodiscard]] CURL* handle() const { return easy; }
    [[nodiscard]] const LinkPair& link() const { return *pair; }
    [[nodiscard]] bool ledNowhere() const {
        long status = 0;
        const char* effective = nullptr;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &effective);
        return isDead(status, effective != nullptr ? QString::fromUtf8(effective) : pair->url);
    }

private:
    /// Where it is now, after redirects.
    [[nodiscard]] QUrl place() const {
        const char* effective = nullptr;
        curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &effective);
        return QUrl(QString::fromUtf8(effective));
    }
    [[nodiscard]] bool inView(const QUrl& url) const {
        return !pageHost.isEmpty() && url.host().compare(pageHost, Qt::CaseInsensitive) == 0;
    }

    /// Called with each address that a name resolves to: where no connection is made, nobody is disturbed.
    static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* to) {
        const auto& transfer = *static_cast<const Transfer*>(self);
        const QHostAddress address(&to->addr);
        const QUrl url = transfer.place();
        const int port = url.port(url.scheme() == QLatin1String("http") ? 80 : 443);
        const auto& [names, peer] = transfer.limits.network;
        if (portOf(to->addr) != port) { // a proxy's
            if (!isPublicName(url.host()) && !transfer.inView(url))
                return CURL_SOCKET_BAD;
        } else if (isPublic(address)) {
            if (peer)
                setAddress(to->addr, peer(address));
        } else if (!transfer.inView(url)) {
            return CURL_SOCKET_BAD;
        }
        return ::socket(to->family, to->socktype | SOCK_CLOEXEC, to->protocol);
    }
    /// The same for a connection that stood already, to a proxy.
    static int mayAsk(void* self, char*, char*, int, int) {
        const auto& transfer = *static_cast<const Transfer*>(self);
        const QUrl url = transfer.place();
        const bool ask = transfer.inView(url) || isPublicName(url.host());
        return ask ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    }

    CURLM* multi;
    const LinkPair* pair;
    const QString& pageHost;
    const LinkCheckLimits& limits;
    CURL* easy;
    curl_slist* names = nullptr;
};

/// Takes the finished transfers out of `open`, and notes those whose page is gone.
bool collect(CURLM* multi, std::unordered_map<CURL*, std::unique_ptr<Transfer>>& open, ReplacementTable& table) {
    bool any = false;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        const CURLcode result = message->data.result; // the message goes with its transfer
        const auto finished = open.extract(message->easy_handle);
        const Transfer& transfer = *finished.mapped();
        if (result == CURLE_OK && transfer.ledNowhere())
            table.insert(transfer.link().url, googleSearchURL(transfer.link().anchor));
        any = true;
    }
    return any;
}

} // namespace

bool isPublic(const QHostAddress& address) {
    using Subnet = std::pair<QHostAddress, int>;
    static const std::array<Subnet, 6> PRIVATE{
        QHostAddress::parseSubnet(u"10.0.0.0/8"_s),     QHostAddress::parseSubnet(u"172.16.0.0/12"_s),
        QHostAddress::parseSubnet(u"192.168.0.0/16"_s), QHostAddress::parseSubnet(u"100.64.0.0/10"_s),
        QHostAddress::parseSubnet(u"198.18.0.0/15"_s),  QHostAddress::parseSubnet(u"192.0.0.0/24"_s)};
    bool mapped = false;
    const QHostAddress four(address.toIPv4Address(&mapped));
    const QHostAddress& meant = mapped ? four : address; // an IPv4 address in IPv6 clothes
    return meant.isGlobal() && !meant.isUniqueLocalUnicast() &&
           std::none_of(PRIVATE.begin(), PRIVATE.end(), [&meant](const Subnet& net) { return meant.isInSubnet(net); });
}

bool isDead(long status, const QString& finalUrl) {
    const QString final = finalUrl.toLower();
    return status == 404 || status == 410 || status >= 500 || final.contains(QLatin1String("/404")) ||
           final.contains(QLatin1String("not-found")) || final.contains(QLatin1String("notfound")) ||
           final.contains(QLatin1String("/error"));
}

ReplacementTable checkLinks(const std::vector<LinkPair>& pairs, const QString& pageHost, const LinkCheckLimits& limits,
                            const std::atomic<bool>& stop) {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    const Multi multi(ready == CURLE_OK ? curl_multi_init() : nullptr);
    ReplacementTable table;
    if (!multi) {
        logOnce(u"link checks"_s, u"Ovalin: links cannot be checked"_s);
        return table;
    }

    const std::vector<Request> requests = requestsFor(pairs);
    std::unordered_map<CURL*, std::unique_ptr<Transfer>> open;
    const auto end = Clock::now() + limits.altogether;
    for (size_t next = 0; !stop && Clock::now() < end;) {
        for (; open.size() < limits.atOnce && next < requests.size(); ++next) {
            auto transfer = std::make_unique<Transfer>(multi.get(), requests[next], pageHost, limits);
            if (CURL* handle = transfer->handle())
                open.emplace(handle, std::move(transfer));
        }
        int running = 0;
        curl_multi_perform(multi.get(), &running);
        if (collect(multi.get(), open, table))
            continue;
        if (open.empty() && next == requests.size())
            break;
        curl_multi_poll(multi.get(), nullptr, 0, STOP_LATENCY, nullptr);
    }
    return table;
}

} // namespace ovalin
