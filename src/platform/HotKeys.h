#pragma once

#include <functional>

namespace ovalin {

/// The global hotkey Alt+Space. Main thread.
class HotKeys {
public:
    virtual ~HotKeys() = default;

    /// Registers the key for every combination of lock keys. 0 = registered; otherwise the X error code (10, BadAccess:
    /// another client holds it), or a negative number when there is no X server or no Space key. Nothing stays
    /// registered after a failure.
    [[nodiscard]] virtual int registerHotKey() = 0;
    virtual void unregisterHotKey() = 0;

    /// The key went down (auto-repeat does not count). Called on the main thread from the event filter: post, do not
    /// work.
    std::function<void()> pressed;

    /// The registration should be made anew: the keyboard map really changed, or a window manager came or went.
    std::function<void()> shouldReassert;
};

} // namespace ovalin
