#pragma once

#include "LinkCheck.h"

#include <QObject>
#include <QThreadPool>

#include <functional>

namespace ovalin {

/// Checks the links of answers in the background, any number of answers at a time.
class LinkVerifier final : public QObject {
public:
    explicit LinkVerifier(LinkCheckLimits limits = {});
    /// Ends the checks that are open; their `done` is never called. Takes less than a tenth of a second.
    ~LinkVerifier() override;

    /// Returns at once. `done` gets the links whose pages are gone, always later and on the verifier's own (the main)
    /// thread, at the latest when the limits of LinkCheckLimits are over.
    /// `pageHost`: of the page in view, empty where there is none.
    void verifyURLs(const std::vector<LinkPair>& pairs, const QString& pageHost,
                    std::function<void(ReplacementTable)> done);

private:
    LinkCheckLimits limits;
    std::atomic<bool> stop = false;
    QThreadPool pool; // of its own: a check may last half a minute
};

} // namespace ovalin
