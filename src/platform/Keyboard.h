#pragma once

#include "platform/Accessibility.h"
#include "platform/PasteWay.h"

#include <functional>

class QWindow;

namespace ovalin {

/// Synthetic keys (XTEST), and the keyboard held for the panel.
class Keyboard {
public:
    enum class Sent {
        Yes,
        NotTrusted, ///< the X server has no XTEST, or no key of the keyboard layout gives the chord
        NotAllowed, ///< the application is not asked, or sent, anything: it could do harm there
        NoTarget,   ///< the input focus is not with the application any more; nothing was sent
    };

    virtual ~Keyboard() = default;

    /// Whether the X server lets us send keys. Any thread.
    [[nodiscard]] virtual bool trusted() const = 0;

    /// Sends the copy chord of the application that has the input focus, if any is harmless there (for most
    /// Ctrl+Insert); it must be `pid`'s unless that is below 1. Held modifiers are lifted meanwhile and the keyboard
    /// hold opens for just these keys. `focus`: what is known of the focused object. Worker threads; returns when the X
    /// server has worked the keys off.
    [[nodiscard]] virtual Sent sendCopy(qint32 pid, FocusKind focus) = 0;

    /// How a text gets into the target, over its selection or at its cursor, whether it is in front now or not; without
    /// a window into whatever has the input focus. Worker threads.
    [[nodiscard]] virtual PasteWay pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) = 0;

    /// Brings the window to the front, from another workspace too, unless it is there, and waits until it has the input
    /// focus, 600 ms at most; without a window, whether `pid` has the focus. False: the window is gone or did not get
    /// it. Worker threads.
    [[nodiscard]] virtual bool bringToFront(const AppWindow& target) = 0;

    /// Sends the keys of pasteWay() if the target has the input focus at this moment. As sendCopy(); NotAllowed also
    /// where the application itself says that it is not ready for a text.
    [[nodiscard]] virtual Sent sendPaste(const AppWindow& target, const PasteWay& way) = 0;
};

/// Keeps the keyboard on one window without moving the input focus: an active keyboard grab. Main thread.
///
/// Screen lockers need the grab for themselves, so it is let go on a press outside our windows, after five minutes
/// without a key, when the screen saver starts, and when the session locks, idles or goes to sleep; holding again is
/// asked for by the panel on a click into it.
class KeyboardHold {
public:
    virtual ~KeyboardHold() = default;

    /// Takes the keyboard for a window of ours that is open; retried every 5 ms when another client has it, until no
    /// key was down for 250 ms (programs for shortcuts keep theirs while its key is down), 5 s at most. Returns at
    /// once.
    virtual void take(QWindow& window) = 0;

    /// Gives the keyboard back. A key that is still down and was pressed while it was held counts as released: it is
    /// not repeated into the application.
    virtual void letGo() = 0;
    [[nodiscard]] virtual bool held() const = 0;
    /// Another client has the keyboard, and it is being tried for.
    [[nodiscard]] virtual bool waiting() const = 0;

    /// Another client keeps the keyboard: the window has taken the input focus instead, which letGo() gives back.
    std::function<void()> refused;
};

} // namespace ovalin
