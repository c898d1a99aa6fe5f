#pragma once

#include "base/Dispatch.h"

#include <QObject>

#include <functional>

namespace ovalin {

/// Tells when nobody works on a request any more. A router is no child of ours: it is known by the request's id in its
/// command line. Main thread.
class RouterWatch final : public QObject {
public:
    explicit RouterWatch(Dispatch& dispatch, QObject* parent = nullptr);

    /// Calls `ended` once, on the main thread, when no process names the id.
    void follow(const QString& id, const std::function<void()>& ended);

private:
    void look(const QString& id, const std::function<void()>& ended, bool missedBefore);
    void waitFor(pid_t router, const std::function<void()>& lookAgain);

    Dispatch& dispatch;
};

} // namespace ovalin
