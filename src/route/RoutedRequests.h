#pragma once

#include "base/AgentCli.h"
#include "base/Dispatch.h"
#include "base/Paths.h"
#include "route/CaptureQueue.h"
#include "route/QueueItem.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <optional>

namespace ovalin {

/// Do requests on their way from the panel to the router: ledger entry, a short wait for a screenshot that is still
/// being taken, queue file, router. Lives on the main thread, which never waits: files and launches are background
/// work, in the order of the requests. Each request is finalised exactly once; one that still waits when this object
/// goes is finalised then, and Dispatch ends the file work before the program ends.
class RoutedRequests final : public QObject {
public:
    RoutedRequests(Dispatch& dispatch, const Paths& paths, const AgentSearch& search, QObject* parent = nullptr);
    ~RoutedRequests() override;

    /// The queue file could not be written: no router will see the request, so the user should get his words back. Main
    /// thread.
    std::function<void(const QueueItem& item, const QString& reason)> onUndelivered;

    /// The queue file waits, but there is neither router script nor agent CLI; `message` is for the user. Main thread.
    std::function<void(const QString& message)> onAgentMissing;

    /// Takes a request. It is recorded in the ledger, and goes on at once, or, when it wants a screenshot that `shot`
    /// does not hold yet, as soon as that arrives, at most 1.2 s later. `token` names the opening it was made in. An
    /// earlier request that still waits goes on without a screenshot first.
    void submit(const QueueItem& item, const QUuid& token, const RequestShot& shot = {});

    /// The screenshot of the opening `token` has been taken; `shotText` is what has been recognised in that same
    /// screenshot, if anything yet. A request that waits for it goes on with it; any other is left alone.
    void applyShotToPendingSubmit(const QUuid& token, const QString& shotB64,
                                  const std::optional<QString>& shotText = std::nullopt);

    [[nodiscard]] const std::optional<QueueItem>& waitingItem() const { return pendingItem; }
    [[nodiscard]] const std::optional<QUuid>& waitingToken() const { return pendingToken; }

private:
    struct Delivery;

    void finalizePending(const RequestShot& shot);
    void finalizeRoutedItem(const QueueItem& item, const RequestShot& shot);

    Dispatch& dispatch;
    std::shared_ptr<Delivery> delivery;
    std::optional<QueueItem> pendingItem; // set and cleared together with its token
    std::optional<QUuid> pendingToken;
};

} // namespace ovalin
