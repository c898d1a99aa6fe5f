#pragma once

#include <QtGlobal>

#include <functional>

namespace ovalin {

/// What became of a registration. The numbers are for the log and for `ovalin status`.
enum class HotKeyState {
    Registered = 0,
    Taken = 10,       ///< another program holds the key (X11: BadAccess); it may become free
    NoKey = -2,       ///< the keyboard has no such key
    NoDesktop = -1,   ///< nobody there to ask
    ByCompositor = 1, ///< only the user can bind it, in the desktop's own settings: nothing to try again
};

/// The global hotkey. Main thread.
class HotKeys {
public:
    virtual ~HotKeys() = default;

    /// Registers the key for every combination of lock keys. Nothing stays registered after a failure.
    [[nodiscard]] virtual HotKeyState registerHotKey() = 0;
    virtual void unregisterHotKey() = 0;

    /// The key went down (auto-repeat does not count) at this time (ms of the display server; it wraps). Called on the
    /// main thread, on X11 from the event filter: post, do not work. There all keys wait in the X server from then on,
    /// for a second at most.
    std::function<void(quint32 time)> pressed;

    /// What the press asked for is done: the keys that were typed meanwhile go on, to whoever has the keyboard by now.
    virtual void pressHandled() = 0;

    /// The registration should be made anew: the keyboard map really changed, or a window manager came or went.
    std::function<void()> shouldReassert;
};

} // namespace ovalin
