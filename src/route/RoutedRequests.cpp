#include "RoutedRequests.h"

#include "base/WholeFile.h"
#include "base/Log.h"
#include "base/children/ProcessTree.h"
#include "base/Text.h"
#include "route/CapturesLedger.h"
#include "route/RequestList.h"
#include "route/RunningRouters.h"

#include <QFile>

#include <atomic>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds SCREENSHOT_WAIT(1200);

// A login shell that hangs must not hold up the end of the program for long.
constexpr std::chrono::milliseconds PROBE_AT_THE_END(2000);

const QString STOPPED = u"stopped by you"_s;
const QString ATTENTION = u"Ovalin — needs attention"_s;

/// The request as a notification names it.
QString nameOf(const QueueItem& item) {
    const QString words = (item.prompt.isEmpty() ? item.text : item.prompt).simplified();
    const QString start = firstCharacters(words, 60);
    return u"“%1”"_s.arg(start == words ? words : start + u"…"_s);
}

/// What was printed last behind the first `from` bytes of a log.
QString lastLine(const QString& log, qint64 from) {
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(std::max(from, file.size() - 4096)))
        return {};
    return onOneLine(QString::fromUtf8(file.readAll()).trimmed().section(u'\n', -1), 200);
}

} // namespace

/// What the background work needs, and how it reports. It outlives the object that it reports to.
struct RoutedRequests::Delivery : std::enable_shared_from_this<Delivery> {
    Dispatch& dispatch;
    const Paths paths;
    const AgentSearch search;
    const QPointer<RoutedRequests> owner;
    const QStringList keptFolders;
    const QDateTime startedAt;
    std::atomic<bool> closing = false;

    Delivery(RoutedRequests& requests, const Paths& where, const AgentSearch& how)
        : dispatch(requests.dispatch)
        , paths(where)
        , search(how)
        , owner(&requests)
        , keptFolders(undeliveredFolders(where.systemDir, where.runtimeDir))
        , startedAt(requests.dispatch.wallClock()) {}

    void report(std::function<void(RoutedRequests&)> news) const {
        dispatch.toMain([guard = owner, news = std::move(news)] {
            if (guard)
                news(*guard);
        });
    }

    void record(const QueueItem& item) const {
        if (const auto appended = appendToCaptures(paths.capturesFile, item); !appended)
            logLine(u"Ovalin: captures append failed — "_s + appended.error());
    }

    void queue(QueueItem item, const RequestShot& shot) {
        storeScreenshot(paths.queueDir, item, shot);
        const auto file = writeQueueFile(paths.queueDir, item);
        if (!file) {
            giveBack(item, shot, file.error());
            return;
        }
        forgetUndelivered(keptFolders, item.id);
        // The lookup of the agent may take seconds, which the files behind us need not wait for. At the end of the
        // program only the file work is sure to be finished.
        const auto send = [self = shared_from_this(), item, shot] { self->send(item, shot); };
        if (closing || scriptExists(paths.routerScript))
            send();
        else
            dispatch.run(Queue::UserInitiated, send);
    }

    /// No router will see the request: the user gets it back.
    void giveBack(QueueItem item, const RequestShot& shot, const QString& error) const {
        logLine(u"Ovalin: queue write failed — "_s + error);
        if (item.screenshot)
            QFile::remove(*std::exchange(item.screenshot, std::nullopt));
        const Undelivered request{item, shot, shortReason(error)};
        const bool kept = keepUndelivered(keptFolders, request);
        report([request, kept](RoutedRequests& requests) { requests.takeBack(request, kept); });
    }

    /// False when there is no agent.
    bool send(const QueueItem& item, const RequestShot& shot = {}) const {
        AgentSearch bounded = search;
        if (closing)
            bounded.probeDeadline = std::min(bounded.probeDeadline, PROBE_AT_THE_END);
        const QString file = queueFilePath(paths.queueDir, item.id);
        const RouterLaunch launch = spawnRouter(file, paths, bounded);
        if (launch.start == RouterStart::NotMarked) {
            QFile::remove(file);
            giveBack(item, shot, launch.reason);
            return true;
        }
        if (launch.start != RouterStart::MarkedBefore)
            report([item, launch](RoutedRequests& requests) { requests.launched(item, launch); });
        logLine(u"Ovalin: sent "_s + item.id);
        return launch.start != RouterStart::AgentMissing;
    }

    /// What is to be said when the router has ended.
    [[nodiscard]] std::optional<RequestNews> outcome(const QueueItem& item, const RouterLaunch& launch) const {
        if (launch.script) { // it has told everything itself, but not in the panel
            const bool untold = readMark(queueFilePath(paths.queueDir, item.id)).untold;
            const auto ledger = readWholeFile(paths.capturesFile).and_then([](const FileContents& file) {
                return parseLedger(file.bytes);
            });
            const QJsonObject entry = ledger ? entryIn(*ledger, item.id) : QJsonObject();
            const QString summary = entry[u"result"_s][u"summary"_s].toString();
            const bool missing = entry[u"status"_s].toString() == NEEDS_ATTENTION &&
                                 summary.startsWith(agentMissingMessage().section(QLatin1Char(' '), 0, 3));
            const QString hint = missing ? agentMissingMessage() : QString();
            if (summary == STOPPED) // by who would be told
                return std::nullopt;
            if (untold && !entry.isEmpty()) // unless we can: a click on ours leads somewhere
                return RequestNews{u"Ovalin — "_s + entry[u"status"_s].toString(), summary + u" — "_s + nameOf(item),
                                   hint, item.id};
            return missing ? std::optional(RequestNews{{}, {}, hint}) : std::nullopt;
        }
        const QString printed = lastLine(paths.routerLog, launch.logBefore);
        const QString summary =
            printed.isEmpty() ? u"the agent ended without saying what it did"_s : u"the agent ended: "_s + printed;
        const auto settled = settleCapture(paths.capturesFile, item.id, NEEDS_ATTENTION, summary);
        if (!settled.value_or(false))
            return std::nullopt;
        return RequestNews{ATTENTION, nameOf(item) + u": "_s + summary, {}, item.id};
    }
};

RoutedRequests::RoutedRequests(Dispatch& theDispatch, const Paths& paths, const AgentSearch& search, QObject* parent)
    : QObject(parent)
    , dispatch(theDispatch)
    , delivery(std::make_shared<Delivery>(*this, paths, search))
    , watch(dispatch) {}

RoutedRequests::~RoutedRequests() {
    delivery->closing = true;
    for (const Undelivered& request : std::as_const(waitingForUser)) { // there may be room by now
        dispatch.run(Queue::Files, [folders = delivery->keptFolders, request] { keepUndelivered(folders, request); });
    }
    finalizePending({});
}

void RoutedRequests::takeUp() {
    dispatch.inBackground(
        Queue::Files, this,
        [delivery = delivery] {
            TakenUp found = takeUpRequests(delivery->paths, delivery->startedAt);
            sweepLeftOvers(delivery->paths, delivery->startedAt, anotherCopyRuns());
            return found;
        },
        [this](const TakenUp& found) {
            waitingForUser = found.undelivered + waitingForUser;
            dispatch.run(Queue::UserInitiated, [delivery = delivery, launch = found.launch] {
                for (const QueueItem& item : launch) {
                    if (!delivery->send(item))
                        return; // said once; the next start-up tries again
                }
            });
            QStringList names;
            for (const QueueItem& item : found.interrupted)
                names.append(nameOf(item));
            if (!names.isEmpty())
                tell({ATTENTION,
                      names.join(u", "_s) + u": begun when Ovalin or the computer stopped, and nobody knows how far it "
                                            "came. Send it again if it is still wanted."_s,
                      {},
                      found.interrupted.first().id});
            if (found.left > 0)
                tell({u"Ovalin — requests are waiting"_s,
                      u"%1 of earlier days wait for another start, or to be run from the list of requests."_s.arg(
                          found.left),
                      {},
                      {}});
        });
}

void RoutedRequests::record(const QueueItem& item, Recorded recorded) {
    const auto work = [delivery = delivery, item] { delivery->record(item); };
    if (recorded)
        dispatch.inBackground(Queue::Files, this, work, std::move(recorded));
    else
        dispatch.run(Queue::Files, work);
}

void RoutedRequests::submit(const QueueItem& item, const QUuid& token, const RequestShot& shot, Recorded recorded) {
    finalizePending({}); // there is room for one
    record(item, std::move(recorded));
    if (!item.wantsScreenshot() || shot.png) {
        finalizeRoutedItem(item, shot);
        return;
    }
    pendingItem = item;
    pendingToken = token;
    // At the deadline the record on the screen may be that of a later opening: nothing is taken from it.
    dispatch.after(SCREENSHOT_WAIT, this, [this, token, id = item.id] {
        if (pendingToken == token && pendingItem->id == id)
            finalizePending({});
    });
}

void RoutedRequests::applyShotToPendingSubmit(const QUuid& token, const QByteArray& shot,
                                              const std::optional<QString>& shotText) {
    if (pendingToken == token)
        finalizePending({shot, shotText});
}

void RoutedRequests::finalizePending(const RequestShot& shot) {
    if (!pendingItem)
        return;
    const QueueItem item = *std::exchange(pendingItem, std::nullopt);
    pendingToken.reset();
    finalizeRoutedItem(item, shot);
}

void RoutedRequests::finalizeRoutedItem(const QueueItem& item, const RequestShot& shot) {
    if (item.id.isEmpty())
        return;
    dispatch.run(Queue::Files, [delivery = delivery, item, shot] { delivery->queue(item, shot); });
}

std::optional<Undelivered> RoutedRequests::takeUndelivered(const QString& id) {
    for (qsizetype i = 0; i < waitingForUser.size(); ++i) {
        if (waitingForUser[i].item.id == id)
            return waitingForUser.takeAt(i);
    }
    return std::nullopt;
}

void RoutedRequests::resubmit(const Undelivered& request, Recorded recorded) {
    record(request.item, std::move(recorded));
    finalizeRoutedItem(request.item, request.shot);
}

void RoutedRequests::drop(const Undelivered& request) {
    dispatch.run(Queue::Files, [delivery = delivery, id = request.item.id] {
        forgetUndelivered(delivery->keptFolders, id);
        if (const auto removed = removeCapture(delivery->paths.capturesFile, id); !removed)
            logLine(u"Ovalin: captures change failed — "_s + removed.error());
    });
}

void RoutedRequests::runAgain(const QString& id, const Said& done) {
    dispatch.inBackground(
        Queue::Files, this, [delivery = delivery, id] { return storedRequest(delivery->paths, id); },
        [this, done](const std::optional<Undelivered>& found) {
            if (!found) {
                done(u"what was asked is gone — nothing was sent"_s);
                return;
            }
            QueueItem item = found->item;
            submittedAt(item, dispatch.wallClock());
            record(item, {});
            finalizeRoutedItem(item, found->shot);
            done(u"sent again, as a request of its own"_s);
        });
}

void RoutedRequests::stop(const QString& id, const Said& done) {
    dispatch.inBackground(
        Queue::Jobs, this,
        [delivery = delivery, id] {
            return endRouter(id, [&] {
                // First: the router says no more than what stands there.
                if (const auto settled = settleCapture(delivery->paths.capturesFile, id, NEEDS_ATTENTION, STOPPED);
                    !settled)
                    logLine(u"Ovalin: captures change failed — "_s + settled.error());
            });
        },
        [done](bool ended) { done(ended ? u"stopped"_s : u"it is not at work any more"_s); });
}

void RoutedRequests::takeBack(const Undelivered& request, bool kept) {
    const auto later = std::find_if(waitingForUser.begin(), waitingForUser.end(), [&](const Undelivered& other) {
        return timeOfId(other.item.id) > timeOfId(request.item.id);
    });
    waitingForUser.insert(later, request);
    const QString where = kept ? u" is kept, and stands in the panel when you open it."_s
                               : u" stands in the panel when you open it, but is lost when Ovalin ends "
                                 "unless there is room for it by then."_s;
    QString reason = request.reason;
    reason[0] = reason[0].toUpper();
    tell({u"Ovalin could not hand over your request"_s, reason + u": "_s + nameOf(request.item) + where, {}});
}

void RoutedRequests::launched(const QueueItem& item, const RouterLaunch& launch) {
    if (launch.start == RouterStart::AgentMissing) {
        tell({u"Ovalin"_s, agentMissingMessage(), agentMissingMessage(), item.id});
    } else if (launch.start == RouterStart::LaunchFailed) {
        tell({ATTENTION,
              u"%1: %2. It waits in the queue until Ovalin starts again."_s.arg(shortReason(launch.reason),
                                                                                nameOf(item)),
              shortReason(launch.reason), item.id});
    } else {
        watch.follow(item.id, [this, item, launch] {
            dispatch.inBackground(
                Queue::Files, this, [delivery = delivery, item, launch] { return delivery->outcome(item, launch); },
                [this](const std::optional<RequestNews>& news) {
                    if (news)
                        tell(*news);
                });
        });
    }
}

void RoutedRequests::tell(const RequestNews& news) const {
    if (onNews)
        onNews(news);
}

} // namespace ovalin
