#pragma once

#include "platform/PrimaryGuard.h"

namespace ovalin {

/// Qt never learns that there is a PRIMARY selection, so none of our fields takes it, whether this is active or not.
/// The program has to export wl_proxy_add_listener for that, which is defined beside this class.
class WaylandPrimaryGuard final : public PrimaryGuard {
public:
    void setActive(bool active) override;
};

} // namespace ovalin
