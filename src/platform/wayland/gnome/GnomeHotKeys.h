#pragma once

#include "base/Dispatch.h"
#include "platform/HotKeys.h"
#include "platform/KeyChord.h"

#include <QObject>
#include <QStringList>

#include <optional>

namespace ovalin {

/// What the settings of GNOME bind to a key.
struct GnomeShortcuts {
    bool ours = false;     ///< the key runs `ovalin toggle`
    bool taken = false;    ///< and something else
    QStringList customs{}; ///< all shortcuts of the user's own, by their paths

    /// One of these, as the settings write it. Pure.
    void add(const QString& binding, const QString& command, const KeyChord& chord);
};

/// From what `gsettings list-recursively` prints; the user's own shortcuts are still to be added. Pure.
[[nodiscard]] GnomeShortcuts gnomeShortcuts(const QString& settings, const KeyChord& chord);

/// The hotkey as a shortcut of the user's own in GNOME's settings, which runs `ovalin toggle`: it is only looked at.
/// Main thread; gsettings is asked on workers.
class GnomeHotKeys final : public HotKeys {
public:
    GnomeHotKeys(Dispatch& dispatch, const KeyChord& chord);

    /// Registered until it is known better: shouldReassert tells.
    [[nodiscard]] HotKeyState registerHotKey() override;
    void unregisterHotKey() override {}
    void pressHandled() override {}

private:
    void became(const std::optional<GnomeShortcuts>& found);

    Dispatch& dispatch;
    const KeyChord chord;
    HotKeyState state = HotKeyState::Registered;
    bool asking = false;
    bool known = false; // the settings have been read
    QObject context;
};

} // namespace ovalin
