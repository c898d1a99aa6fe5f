#pragma once

#include "Compositor.h"
#include "base/Dispatch.h"
#include "platform/Keyboard.h"

#include <functional>
#include <mutex>
#include <vector>

namespace ovalin {

/// Synthetic keys as the compositor takes them. Nobody can tell keys to a window: the panel lends the keyboard for a
/// copy, and the keys go out once the target has it.
class WaylandKeyboard final : public Keyboard {
public:
    struct Ways {
        /// The panel gives the keyboard to whom it was taken from, or has it back. Main thread.
        std::function<void(bool lent)> lend;
        /// The keys of a paste go out. The worker that sends them.
        std::function<void()> pasting;
    };
    WaylandKeyboard(Compositor& compositor, Dispatch& dispatch, Ways ways);

    [[nodiscard]] bool trusted() const override;
    [[nodiscard]] Sent sendCopy(qint32 pid, FocusKind focus) override;
    [[nodiscard]] PasteWay pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) override;
    [[nodiscard]] bool bringToFront(const AppWindow& target) override;
    [[nodiscard]] Sent sendPaste(const AppWindow& target, const PasteWay& way) override;

private:
    [[nodiscard]] bool hasKeyboard(const AppWindow& target) const;
    [[nodiscard]] bool waitForKeyboard(const AppWindow& target, std::chrono::milliseconds patience);
    [[nodiscard]] bool send(const std::vector<WaylandChord>& chords);

    Compositor& compositor;
    Dispatch& dispatch;
    const Ways ways;
    std::mutex oneAtATime;
};

} // namespace ovalin
