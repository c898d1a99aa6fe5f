#include "Submissions.h"

namespace ovalin {

struct Submissions::Waiting {
    QueueItem item; ///< with the excerpt as far as it is known
    std::shared_ptr<const Captured> captured;
    RoutedRequests::Recorded recorded;
};

Submissions::Submissions(Dispatch& theDispatch, Selection& theSelection, RoutedRequests& theRequests)
    : dispatch(theDispatch)
    , selection(theSelection)
    , requests(theRequests) {}

Submissions::~Submissions() {
    for (const auto& waiting : waitingForExcerpt)
        handOver(*waiting);
}

void Submissions::submit(const QString& instruction, const std::optional<QString>& excerpt,
                         const std::shared_ptr<const Captured>& captured, RoutedRequests::Recorded recorded) {
    const CaptureContext& context = captured->context;
    auto waiting =
        std::make_shared<Waiting>(Waiting{makeQueueItem(instruction, excerpt.value_or(context.capText), context,
                                                        context.capContextMode, dispatch.wallClock()),
                                          captured, std::move(recorded)});
    last = captured;
    if (excerpt) {
        handOver(*waiting);
        return;
    }
    waitingForExcerpt.push_back(waiting);
    if (!instruction.isEmpty())
        requests.record(waiting->item, waiting->recorded);
    dispatch.inBackground(Queue::UserInitiated, this, currentFocus(selection, context),
                          [this, waiting](const SelectedText& live) {
                              waiting->item.text = live.text;
                              std::erase(waitingForExcerpt, waiting);
                              handOver(*waiting);
                          });
}

void Submissions::handOver(const Waiting& waiting) {
    const CaptureContext& context = waiting.captured->context;
    if (waiting.item.prompt.isEmpty() && waiting.item.text.isEmpty())
        waiting.recorded(); // nothing to keep
    else
        requests.submit(waiting.item, context.captureToken, {context.capShot, context.capShotText}, waiting.recorded);
}

} // namespace ovalin
