#pragma once

#include "platform/PrimaryGuard.h"

namespace ovalin {

/// Drops claims on PRIMARY by standing in front of libxcb's xcb_set_selection_owner, which Qt's platform plugin calls:
/// Qt has no switch for it. The executable must export that symbol (-Wl,--export-dynamic-symbol). Giving the selection
/// up is always passed on. One flag for the process; Qt warns on its log each time it did not get the selection.
class X11PrimaryGuard final : public PrimaryGuard {
public:
    void setActive(bool active) override;
};

} // namespace ovalin
