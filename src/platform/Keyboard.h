#pragma once

#include "platform/Pasteboard.h"

#include <functional>
#include <optional>

namespace ovalin {

/// Synthetic keys (XTEST), and the keyboard held for the panel.
class Keyboard {
public:
    enum class Sent {
        Yes,
        NotTrusted, ///< the X server has no XTEST, or no key of the keyboard layout gives the chord
        NotAllowed, ///< a terminal, in which the chord would interrupt the running command
        NoTarget,   ///< the input focus is not with the application any more; nothing was sent
    };

    virtual ~Keyboard() = default;

    /// Whether the X server lets us send keys. Any thread.
    [[nodiscard]] virtual bool trusted() const = 0;

    /// Sends the copy chord (Ctrl+C) to the application that has the input focus, which must be `pid`'s unless that is
    /// below 1; held modifiers are lifted meanwhile and the keyboard hold opens for just these keys. Worker threads;
    /// returns when the X server has worked the keys off.
    [[nodiscard]] virtual Sent sendCopy(qint32 pid) = 0;

    /// Where a paste goes; without a window to wherever the input focus is, if that is `pid`'s or `pid` is below 1.
    struct PasteTarget {
        qint32 pid = 0;
        quint32 window = 0; ///< X11 window
        bool operator==(const PasteTarget&) const = default;
    };

    /// Brings the window to the front unless it is there, and waits until it has the input focus, 600 ms at most. Says
    /// from which selection its paste chord takes the text; absent: the window is gone or did not get the focus. Worker
    /// threads.
    [[nodiscard]] virtual std::optional<Pasteboard::Selection> bringToFront(const PasteTarget& target) = 0;

    /// Sends the paste chord of the application (Ctrl+V; terminals have theirs) if the target has the input focus at
    /// this moment. As sendCopy().
    [[nodiscard]] virtual Sent sendPaste(const PasteTarget& target) = 0;
};

/// Keeps the keyboard on one window without moving the input focus: an active keyboard grab. Main thread.
///
/// Screen lockers need the grab for themselves, so it is let go on a press outside our windows, after five minutes
/// without a key, and when the session locks; holding again is asked for by the panel on a click into it.
class KeyboardHold {
public:
    virtual ~KeyboardHold() = default;

    /// Takes the keyboard for the X11 window; retried every 5 ms for 250 ms when another client has it. Returns at
    /// once.
    virtual void take(quint32 window) = 0;
    virtual void letGo() = 0;
    [[nodiscard]] virtual bool held() const = 0;

    /// Another client keeps the keyboard: the window has taken the input focus instead, which letGo() gives back.
    std::function<void()> refused;
};

} // namespace ovalin
