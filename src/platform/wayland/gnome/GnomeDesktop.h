#pragma once

#include "base/Dispatch.h"
#include "platform/KeyChord.h"
#include "platform/RealDesktop.h"

#include <memory>

namespace ovalin {

/// The real desktop in a Wayland session of GNOME Shell: what that allows, in place of what WaylandDesktop needs. The
/// dispatch outlives it.
class GnomeDesktop final : public RealDesktop {
public:
    explicit GnomeDesktop(Dispatch& dispatch, const KeyChord& hotkey = {});
    ~GnomeDesktop() override;

    [[nodiscard]] Desktop desktop() override;
    [[nodiscard]] Windows& windows() override;
    [[nodiscard]] std::function<QImage(qint32)> pictures() override;
    [[nodiscard]] QString missing() const override;

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
