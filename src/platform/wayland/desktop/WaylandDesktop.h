#pragma once

#include "base/Dispatch.h"
#include "platform/KeyChord.h"
#include "platform/RealDesktop.h"

#include <memory>

namespace ovalin {

/// The real desktop on a Wayland compositor with layer shell and data control, as X11Desktop is that on X11. The
/// dispatch outlives it.
class WaylandDesktop final : public RealDesktop {
public:
    explicit WaylandDesktop(Dispatch& dispatch, KeyChord hotkey = {});
    ~WaylandDesktop() override;

    [[nodiscard]] Desktop desktop() override;
    [[nodiscard]] Windows& windows() override;
    /// What was to be seen of the window in front before the panel covered it; waits until that is there.
    [[nodiscard]] std::function<QImage(qint32 pid)> pictures() override;
    [[nodiscard]] QString missing() const override;

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
