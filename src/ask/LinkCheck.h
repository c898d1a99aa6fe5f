#pragma once

#include "AnswerLinks.h"

#include <atomic>
#include <chrono>

namespace ovalin {

struct LinkCheckLimits {
    std::chrono::milliseconds perLink{6000}; ///< all redirects together
    std::chrono::milliseconds altogether{30000};
    size_t atOnce = 200; ///< connections
};

/// Whether a page is gone, from the status and the address that the redirects led to. Pure.
[[nodiscard]] bool isDead(long status, const QString& finalUrl);

/// Asks for the head of every http and https address, each once, and returns a search page for the text of those that
/// are gone. Redirects are followed, cookies and credentials neither kept nor sent. What does not answer in time, or
/// not in HTTP, stays as it is written; so does everything still open when `stop` becomes true. Blocks: for worker
/// threads.
[[nodiscard]] ReplacementTable checkLinks(const std::vector<LinkPair>& pairs, const LinkCheckLimits& limits,
                                          const std::atomic<bool>& stop);

} // namespace ovalin
