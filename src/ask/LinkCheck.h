#pragma once

#include "AnswerLinks.h"

#include <QHostAddress>

#include <atomic>
#include <chrono>
#include <functional>

namespace ovalin {

/// Where links are looked for.
struct LinkNetwork {
    std::vector<QByteArray> names; ///< "NAME:PORT:ADDRESS", ahead of the name servers
    /// Another address to connect to in place of a public one; none: that one itself. Called on workers.
    std::function<QHostAddress(const QHostAddress&)> peer = {};
};

struct LinkCheckLimits {
    std::chrono::milliseconds perLink{6000}; ///< all redirects together
    std::chrono::milliseconds altogether{30000};
    size_t atOnce = 200; ///< connections
    LinkNetwork network = {};
};

/// Whether an address is one of the Internet's, not of this machine, this network or somebody's private one. Pure.
[[nodiscard]] bool isPublic(const QHostAddress& address);

/// Whether a page is gone, from the status and the address that the redirects led to. Pure.
[[nodiscard]] bool isDead(long status, const QString& finalUrl);

/// Asks for the head of every http and https address, each once, and returns a search page for the text of those that
/// are gone. Redirects are followed, cookies and credentials neither kept nor sent. What does not answer in time, or
/// not in HTTP, stays as it is written; so does everything still open when `stop` becomes true. Machines without a
/// public address are left alone, whatever name or redirect leads there, but for `pageHost`, that of the page in view.
/// Blocks: for worker threads.
[[nodiscard]] ReplacementTable checkLinks(const std::vector<LinkPair>& pairs, const QString& pageHost,
                                          const LinkCheckLimits& limits, const std::atomic<bool>& stop);

} // namespace ovalin
