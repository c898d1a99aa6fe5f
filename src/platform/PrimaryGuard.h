#pragma once

namespace ovalin {

/// While active, no window of this process takes the PRIMARY selection: selecting text in the panel would otherwise
/// make GTK applications drop the very selection that the panel is about. Any thread.
class PrimaryGuard {
public:
    virtual ~PrimaryGuard() = default;
    virtual void setActive(bool active) = 0;
};

} // namespace ovalin
