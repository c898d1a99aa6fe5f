#pragma once

#include "platform/HotKeys.h"
#include "platform/KeyChord.h"
#include "platform/dbus/Bus.h"

#include <QObject>

namespace ovalin {

class GlobalAccelClient;

/// The hotkey by KDE's service for shortcuts (org.kde.kglobalaccel), for as long as the program runs; one of the user's
/// own is never replaced. Where there is no such service, only the compositor's configuration binds keys. Main thread.
class KwinHotKeys final : public HotKeys {
public:
    explicit KwinHotKeys(const KeyChord& chord, const QString& busAddress = sessionBusAddress());

    /// Registered until it is known better: shouldReassert tells.
    [[nodiscard]] HotKeyState registerHotKey() override;
    void unregisterHotKey() override;
    void pressHandled() override {}

private:
    const int key;
    HotKeyState state = HotKeyState::Registered;
    GlobalAccelClient* const client; // the thread's
    QObject context;                 // of what the client tells
    BusThread thread;
};

/// The chord as Qt numbers it, with its modifiers; 0: it has no number. Pure.
[[nodiscard]] int qtKey(const KeyChord& chord);

} // namespace ovalin
