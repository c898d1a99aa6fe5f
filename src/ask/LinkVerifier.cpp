#include "LinkVerifier.h"

namespace ovalin {

LinkVerifier::LinkVerifier(LinkCheckLimits checkLimits)
    : limits(std::move(checkLimits)) {
    pool.setMaxThreadCount(4); // checks of older answers that still wait
}

LinkVerifier::~LinkVerifier() {
    stop = true;
    pool.waitForDone();
}

void LinkVerifier::verifyURLs(const std::vector<LinkPair>& pairs, const QString& pageHost,
                              std::function<void(ReplacementTable)> done) {
    pool.start([this, pairs, pageHost, done = std::move(done)] {
        ReplacementTable table = checkLinks(pairs, pageHost, limits, stop);
        QMetaObject::invokeMethod(
            this, [done, table = std::move(table)] { done(table); }, Qt::QueuedConnection);
    });
}

} // namespace ovalin
