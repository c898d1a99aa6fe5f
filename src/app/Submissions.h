#pragma once

#include "capture/Captured.h"
#include "route/RoutedRequests.h"

namespace ovalin {

/// Do requests between Return and the router: the excerpt of one may still have to be read from the application, for
/// which the panel does not stay. Each is handed over once, by the end of this at the latest. Main thread.
class Submissions final : public QObject {
public:
    Submissions(Dispatch& dispatch, Selection& selection, RoutedRequests& requests);
    ~Submissions() override;

    /// `excerpt` absent: the application is asked once more. `recorded`: the panel may go.
    void submit(const QString& instruction, const std::optional<QString>& excerpt,
                const std::shared_ptr<const Captured>& captured, RoutedRequests::Recorded recorded);

private:
    struct Waiting;

    void handOver(const Waiting& waiting);

    Dispatch& dispatch;
    Selection& selection;
    RoutedRequests& requests;
    std::vector<std::shared_ptr<Waiting>> waitingForExcerpt;
    std::shared_ptr<const Captured> last; ///< its request may still wait for the screenshot
};

} // namespace ovalin
