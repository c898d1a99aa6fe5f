#pragma once

#include <QtGlobal>

#include <functional>

namespace ovalin {

/// The global hotkey. Main thread.
class HotKeys {
public:
    virtual ~HotKeys() = default;

    /// Registers the key for every combination of lock keys. 0 = registered; otherwise the X error code (10, BadAccess:
    /// another client holds it), or a negative number when there is no X server or no such key. Nothing stays
    /// registered after a failure.
    [[nodiscard]] virtual int registerHotKey() = 0;
    virtual void unregisterHotKey() = 0;

    /// The key went down (auto-repeat does not count) at this X server time (ms; it wraps). Called on the main thread
    /// from the event filter: post, do not work. All keys wait in the X server from then on, for a second at most.
    std::function<void(quint32 time)> pressed;

    /// What the press asked for is done: the keys that were typed meanwhile go on, to whoever has the keyboard by now.
    virtual void pressHandled() = 0;

    /// The registration should be made anew: the keyboard map really changed, or a window manager came or went.
    std::function<void()> shouldReassert;
};

} // namespace ovalin
