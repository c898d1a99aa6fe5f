#pragma once

#include "base/Dispatch.h"
#include "platform/HotKeys.h"

#include <QObject>

#include <optional>

namespace ovalin {

/// Keeps the global hotkey registered and turns presses into openings. Main thread.
class HotKey final : public QObject {
public:
    HotKey(HotKeys& hotKeys, Dispatch& dispatch);

    /// Tries to register; a failure is logged and tried again after 1, 2, 4, 8, 16 and 30 s, seven tries in one series.
    /// Where only the desktop binds keys, that is no failure, and nothing is tried again.
    void registerHotKey(int attempt);

    /// Unregisters and registers anew: after sleep, after a change of the keyboard map or of the window manager.
    void reassertHotKey();

    /// One press, debounced: a second within 0.25 s is ignored. Two presses of the key are told apart by when they were
    /// made (X server time, ms), however late they are handled; without a time, as `ovalin toggle` calls it, by now.
    void hotkeyFired(std::optional<quint32> pressTime = {});

    /// A press that another program passes on, as `ovalin toggle`; `waiting`: the panel that it opened still waits for
    /// the keyboard, which that program keeps as long as its key is held down. The repeats of a held key count as one
    /// press, also those that come a little late.
    void passedOn(bool waiting);

    [[nodiscard]] bool registered() const { return hotKeyRef; }
    /// What the last try came to, as HotKeys::registerHotKey().
    [[nodiscard]] HotKeyState lastState() const { return state; }

    std::function<void()> fired;
    /// A try failed.
    std::function<void(HotKeyState state)> failed;
    std::function<void()> succeeded;

private:
    HotKeys& hotKeys;
    Dispatch& dispatch;
    bool hotKeyRef = false;
    bool hotkeyHandlerInstalled = false;
    HotKeyState state = HotKeyState::Registered;
    double lastHotkeyFire = 0.0;
    double lastRepeat = -1;               // of a key that another program passes on
    std::optional<quint32> lastPressTime; // of the same press; none when it was no key
    quint64 series = 0;                   // a retry of an older series must not go on beside a newer one
};

} // namespace ovalin
