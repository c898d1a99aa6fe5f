#pragma once

#include "ActivityClock.h"
#include "platform/EventMonitors.h"

#include <QObject>

#include <atomic>
#include <map>

namespace ovalin {

/// Who is told of input, on the main thread. The atomics tell the X thread what is worth a message.
struct InputReceivers {
    using Handle = EventMonitors::Handle;

    explicit InputReceivers(ActivityClock& clockToSettle)
        : clock(clockToSettle) {}

    QObject receiver;
    ActivityClock& clock;
    Handle lastHandle = 0;
    std::map<Handle, std::function<void()>> leftUp;
    std::map<Handle, std::function<void(const EventMonitors::KeyUp&)>> keyUp;
    std::map<Handle, std::function<void(quint32 time)>> pressOutside;
    std::function<bool(QPoint, quint32, quint32)> isOurs;
    bool leftPressOutside = true;

    std::atomic<bool> keyboardOurs{false};
    std::atomic<bool> wantsLeftUp{false};
    std::atomic<bool> wantsKeyUp{false};
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
    void keyReleased(const EventMonitors::KeyUp& key) const;
};

} // namespace ovalin
