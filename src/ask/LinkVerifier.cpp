#include "LinkVerifier.h"

namespace ovalin {

LinkVerifier::LinkVerifier(const LinkCheckLimits& checkLimits)
    : limits(checkLimits) {
    pool.setMaxThreadCount(4); // checks of older answers that still wait
}

LinkVerifier::~LinkVerifier() {
    stop = true;
    pool.waitForDone();
}

void LinkVerifier::verifyURLs(const std::vector<LinkPair>& pairs, std::function<void(ReplacementTable)> done) {
    pool.start([this, pairs, done = std::move(done)] {
        ReplacementTable table = checkLinks(pairs, limits, stop);
        QMetaObject::invokeMethod(
            this, [done, table = std::move(table)] { done(table); }, Qt::QueuedConnection);
    });
}

} // namespace ovalin
