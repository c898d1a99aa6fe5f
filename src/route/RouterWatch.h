#pragma once

#include "base/Dispatch.h"

#include <QObject>

#include <functional>

namespace ovalin {

/// Tells when nobody works on a request any more. Main thread.
class RouterWatch final : public QObject {
public:
    explicit RouterWatch(Dispatch& dispatch, QObject* parent = nullptr);

    /// Calls `ended` once, on the main thread, when no router of the id is at work.
    void follow(const QString& id, const std::function<void()>& ended);

private:
    void look(const QString& id, const std::function<void()>& ended, bool missedBefore);
    void waitFor(pid_t router, const std::function<void()>& lookAgain);

    Dispatch& dispatch;
};

} // namespace ovalin
