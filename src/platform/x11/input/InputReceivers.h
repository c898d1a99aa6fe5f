#pragma once

#include "ActivityClock.h"
#include "platform/SelectionHints.h"

#include <QObject>
#include <QPoint>

#include <atomic>
#include <map>

namespace ovalin {

/// Who is told of input, on the main thread. The atomics tell the X thread what is worth a message.
struct InputReceivers {
    using Handle = SelectionHints::Handle;

    explicit InputReceivers(ActivityClock& clockToSettle)
        : clock(clockToSettle) {}

    QObject receiver;
    ActivityClock& clock;
    Handle lastHandle = 0;
    std::map<Handle, std::function<void()>> selection; // it may have changed
    std::map<Handle, std::function<void(quint32 time)>> pressOutside;
    std::function<bool(QPoint, quint32, quint32)> isOurs;
    bool leftPressOutside = true;

    std::atomic<bool> keyboardOurs{false};
    std::atomic<bool> wantsReleases{false};
    std::atomic<bool> wantsPresses{false};

    /// Any thread.
    void toMain(std::function<void()> work) {
        QMetaObject::invokeMethod(&receiver, std::move(work), Qt::QueuedConnection);
    }

    template <class Seen>
    Handle add(std::map<Handle, Seen>& to, Seen seen) {
        to.emplace(++lastHandle, std::move(seen));
        updateWants();
        return lastHandle;
    }
    void remove(Handle handle);
    void updateWants();

    void buttonPressed(bool left, quint32 time, QPoint position, quint32 window);
    void leftReleased() const;
    void selectingKeyReleased() const;
};

} // namespace ovalin
