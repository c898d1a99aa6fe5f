#pragma once

#include "base/AgentCli.h"
#include "base/Dispatch.h"
#include "base/Paths.h"
#include "route/CaptureQueue.h"
#include "route/QueueItem.h"
#include "route/Router.h"
#include "route/RouterWatch.h"
#include "route/TakeUp.h"
#include "route/Undelivered.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <optional>

namespace ovalin {

/// What the user is to hear of a request, at once and on the hint line of the next opening.
struct RequestNews {
    QString title; ///< of a notification; empty: somebody else has told already
    QString body;
    QString hint; ///< may be empty
    QString id{}; ///< of the one request that it is about
};

/// Do requests on their way from the panel to the router: ledger entry, a short wait for a screenshot that is still
/// being taken, queue file, mark, router. Lives on the main thread, which never waits: files and launches are
/// background work, in the order of the requests. Each request is finalised exactly once; one that still waits when
/// this object goes is finalised then, and Dispatch ends the file work before the program ends.
class RoutedRequests final : public QObject {
public:
    using Recorded = std::function<void()>;
    using Said = std::function<void(const QString& status)>;

    RoutedRequests(Dispatch& dispatch, const Paths& paths, const AgentSearch& search, QObject* parent = nullptr);
    ~RoutedRequests() override;

    /// Main thread.
    std::function<void(const RequestNews& news)> onNews;

    /// Takes up what earlier runs left, and sweeps after them. Once, when the scripts are in their places.
    void takeUp();

    /// Writes the ledger entry ahead of submit(), which brings it up to date. `recorded` is called on the main thread
    /// when it is on the disk, or has failed.
    void record(const QueueItem& item, Recorded recorded);

    /// Takes a request. It is recorded in the ledger, and goes on at once, or, when it wants a screenshot that `shot`
    /// does not hold yet, as soon as that arrives, at most 1.2 s later. `token` names the opening it was made in. An
    /// earlier request that still waits goes on without a screenshot first.
    void submit(const QueueItem& item, const QUuid& token, const RequestShot& shot = {}, Recorded recorded = {});

    /// The screenshot of the opening `token` has been taken; `shotText` is what has been recognised in that same
    /// screenshot, if anything yet. A request that waits for it goes on with it; any other is left alone.
    void applyShotToPendingSubmit(const QUuid& token, const QByteArray& shot,
                                  const std::optional<QString>& shotText = std::nullopt);

    /// Those that could not be handed over and wait for the user, oldest first.
    [[nodiscard]] const QList<Undelivered>& undelivered() const { return waitingForUser; }
    /// Takes one of them out of these; absent when it is not there.
    std::optional<Undelivered> takeUndelivered(const QString& id);
    /// Hands it over again, with what its own opening had captured.
    void resubmit(const Undelivered& request, Recorded recorded);
    /// None waits for the user any more; their files are somebody else's to remove.
    void forget() { waitingForUser.clear(); }
    /// The user does not want it any more.
    void drop(const Undelivered& request);

    /// Sends the words of an earlier request, and what its opening had captured, once more, as a request of its own.
    /// `done` gets what to say.
    void runAgain(const QString& id, const Said& done);
    /// Ends the router of a request, if it is proven to be ours, and says so in the ledger. `done` gets what to say.
    void stop(const QString& id, const Said& done);

    [[nodiscard]] const std::optional<QueueItem>& waitingItem() const { return pendingItem; }
    [[nodiscard]] const std::optional<QUuid>& waitingToken() const { return pendingToken; }

private:
    struct Delivery;

    void finalizePending(const RequestShot& shot);
    void finalizeRoutedItem(const QueueItem& item, const RequestShot& shot);
    void takeBack(const Undelivered& request, bool kept);
    void launched(const QueueItem& item, const RouterLaunch& launch);
    void tell(const RequestNews& news) const;

    Dispatch& dispatch;
    std::shared_ptr<Delivery> delivery;
    RouterWatch watch;
    QList<Undelivered> waitingForUser;
    std::optional<QueueItem> pendingItem; // set and cleared together with its token
    std::optional<QUuid> pendingToken;
};

} // namespace ovalin
