#pragma once

#include <QList>
#include <QString>

namespace ovalin {

/// A Do request as it is listed.
struct PastRequest {
    enum class State { Queued, Working, Ready, NeedsAttention, Other };

    QString id;
    QString words; ///< its beginning, on one line
    QString age;   ///< empty where it is not known
    QString app;
    State state = State::Other;
    QString stateName; ///< as the ledger says it
    QString summary;   ///< of the result, on one line
    bool ours = false; ///< its id is one of ours, so its files can be found

    bool operator==(const PastRequest&) const = default;
};

/// The newest of them, and how many more there are.
struct PastRequests {
    QList<PastRequest> newest;
    qsizetype more = 0;
    QString trouble; ///< why they cannot be read; short

    bool operator==(const PastRequests&) const = default;
};

/// All of one request.
struct RequestDetail {
    PastRequest request;
    QString prompt;    ///< whole
    QString excerpt;   ///< the beginning of a long one
    QString place;     ///< title and address of what it was about
    QString summary;   ///< whole
    QString log;       ///< the last lines of what the router printed about it
    QString queueFile; ///< absolute; empty: it is gone

    bool operator==(const RequestDetail&) const = default;
};

} // namespace ovalin
