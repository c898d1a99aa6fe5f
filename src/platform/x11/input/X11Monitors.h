#pragma once

#include "platform/SelectionHints.h"

#include <QPoint>

#include <functional>
#include <memory>

namespace ovalin {

class ActivityClock;
class RawInput;
class SyntheticKeys;
class XThread;
struct InputReceivers;

/// Sees mouse buttons and keys that go to other applications, by XInput2 raw events on the root window; feeds the
/// activity clock. Where XInput 2.2 is missing it stays silent and the clock says that nobody watches. Main thread; the
/// three it is made of outlive it.
class X11Monitors final : public SelectionHints {
public:
    X11Monitors(XThread& thread, ActivityClock& clock, const SyntheticKeys& synthetic);
    ~X11Monitors() override;

    /// A left button that went down outside our own windows went up, or a key that selects did while another
    /// application had the keyboard.
    [[nodiscard]] Handle onMaybeChanged(std::function<void()> changed) override;
    void removeHint(Handle handle) override;

    /// A button other than the wheel went down outside our own windows, at this time of the X server.
    [[nodiscard]] Handle onPressOutside(std::function<void(quint32 time)> seen);

    /// Calls `isHotkey` on the X thread with each key that goes down, and the modifiers beside it. A key that it says
    /// is ours changes nobody's selection.
    void onKeyDown(std::function<bool(quint8 key, quint8 modifiers)> isHotkey);

    /// Says which presses go to windows of ours, by the position (device pixels of the root window) and the child of
    /// the root found there, both looked up a little after the press, and by the server's time of it; they are nobody's
    /// business and do not count as input. Asked on the main thread, later still. Empty: none are ours.
    void setOwnWindows(std::function<bool(QPoint rootPosition, quint32 topWindow, quint32 time)> isOurs);

    /// While the panel holds the keyboard, keys are not asked for: what is typed into it is never seen here.
    void setKeyboardOurs(bool ours);

private:
    std::unique_ptr<InputReceivers> receivers; // main thread's side
    std::unique_ptr<RawInput> raw;             // X thread's side
    XThread& thread;
};

} // namespace ovalin
