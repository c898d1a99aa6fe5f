#pragma once

#include "base/Dispatch.h"
#include "platform/KeyChord.h"
#include "platform/RealDesktop.h"

#include <memory>

namespace ovalin {

/// The real desktop: builds every capability on X11 and D-Bus and ties together what must know of each other. The
/// dispatch outlives it.
class X11Desktop final : public RealDesktop {
public:
    explicit X11Desktop(Dispatch& dispatch, KeyChord hotkey = {});
    ~X11Desktop() override;

    [[nodiscard]] Desktop desktop() override;
    [[nodiscard]] Windows& windows() override;
    [[nodiscard]] std::function<QImage(qint32)> pictures() override { return {}; }
    [[nodiscard]] QString missing() const override { return {}; }

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
