#pragma once

namespace ovalin {

/// How the user wants programs to look.
struct DesktopLook {
    bool dark = false;
    bool contrast = false;
};

/// The desktop's own settings. Main thread; no other process is waited for.
class DesktopSettings {
public:
    virtual ~DesktopSettings() = default;

    /// As far as it is known now.
    [[nodiscard]] virtual DesktopLook look() = 0;

    /// False: nothing is to move that need not.
    [[nodiscard]] virtual bool animations() = 0;
};

} // namespace ovalin
