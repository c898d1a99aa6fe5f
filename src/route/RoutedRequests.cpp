#include "RoutedRequests.h"

#include "base/Log.h"
#include "route/CapturesLedger.h"
#include "route/Router.h"

#include <atomic>

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds SCREENSHOT_WAIT(1200);

// A login shell that hangs must not hold up the end of the program for long.
constexpr std::chrono::milliseconds PROBE_AT_THE_END(2000);

} // namespace

/// What the background work needs, and how it reports. It outlives the object that it reports to.
struct RoutedRequests::Delivery : std::enable_shared_from_this<Delivery> {
    Dispatch& dispatch;
    const Paths paths;
    const AgentSearch search;
    const QPointer<RoutedRequests> owner;
    std::atomic<bool> closing = false;

    Delivery(RoutedRequests& requests, const Paths& where, const AgentSearch& how)
        : dispatch(requests.dispatch)
        , paths(where)
        , search(how)
        , owner(&requests) {}

    void report(std::function<void(RoutedRequests&)> news) const {
        dispatch.toMain([guard = owner, news = std::move(news)] {
            if (guard)
                news(*guard);
        });
    }

    void record(const QueueItem& item) const {
        if (const auto appended = appendToCaptures(paths.capturesFile, item); !appended)
            logLine(QStringLiteral("Ovalin: captures append failed — ") + appended.error());
    }

    void queue(QueueItem item, const RequestShot& shot) {
        storeScreenshot(paths.queueDir, item, shot);
        const auto file = writeQueueFile(paths.queueDir, item);
        if (!file) {
            logLine(QStringLiteral("Ovalin: queue write failed — ") + file.error());
            report([item, reason = file.error()](RoutedRequests& requests) {
                if (requests.onUndelivered)
                    requests.onUndelivered(item, reason);
            });
            return;
        }
        const auto send = [self = shared_from_this(), id = item.id, path = *file] { self->send(id, path); };
        // The lookup of the agent may take seconds, which the files behind us need not wait for. At the end of the
        // program only the file work is sure to be finished.
        if (closing)
            send();
        else
            dispatch.run(Queue::UserInitiated, send);
    }

    void send(const QString& id, const QString& queueFile) const {
        AgentSearch bounded = search;
        if (closing)
            bounded.probeDeadline = std::min(bounded.probeDeadline, PROBE_AT_THE_END);
        if (spawnRouter(queueFile, paths, bounded) == RouterStart::AgentMissing) {
            report([](RoutedRequests& requests) {
                if (requests.onAgentMissing)
                    requests.onAgentMissing(agentMissingMessage());
            });
        }
        logLine(QStringLiteral("Ovalin: sent ") + id);
    }
};

RoutedRequests::RoutedRequests(Dispatch& theDispatch, const Paths& paths, const AgentSearch& search, QObject* parent)
    : QObject(parent)
    , dispatch(theDispatch)
    , delivery(std::make_shared<Delivery>(*this, paths, search)) {}

RoutedRequests::~RoutedRequests() {
    delivery->closing = true;
    finalizePending({});
}

void RoutedRequests::submit(const QueueItem& item, const QUuid& token, const RequestShot& shot) {
    finalizePending({}); // there is room for one
    dispatch.run(Queue::Files, [delivery = delivery, item] { delivery->record(item); });
    if (!item.wantsScreenshot() || shot.base64) {
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

void RoutedRequests::applyShotToPendingSubmit(const QUuid& token, const QString& shotB64,
                                              const std::optional<QString>& shotText) {
    if (pendingToken == token)
        finalizePending({shotB64, shotText});
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

} // namespace ovalin
