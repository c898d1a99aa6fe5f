#pragma once

#include "platform/wayland/thread/KeySender.h"
#include "platform/wayland/thread/WaylandThread.h"

#include <memory>
#include <optional>

struct org_kde_kwin_fake_input;
struct wl_keyboard;
struct xkb_context;
struct xkb_keymap;

namespace ovalin {

/// Keys as from the user's own keyboard (fake-input), which KWin lets programs send whose desktop file asks for that:
/// they go through the user's layout, and what is held down counts along.
class FakeKeys final : public KeySender {
public:
    static bool offered(const WaylandThread& thread);

    explicit FakeKeys(WaylandThread& thread);
    ~FakeKeys() override;
    FakeKeys(const FakeKeys&) = delete;
    FakeKeys& operator=(const FakeKeys&) = delete;

    /// Lifts what the user holds first. False where a letter lies on different keys in the user's layouts.
    bool send(const std::vector<WaylandChord>& chords, EventThread::Task done) override;

private:
    void tookKeymap(int descriptor, quint32 size);

    WaylandThread& thread;
    org_kde_kwin_fake_input* input = nullptr;
    wl_seat* seat = nullptr;
    wl_keyboard* keyboard = nullptr;
    std::unique_ptr<xkb_context, void (*)(xkb_context*)> context;
    std::unique_ptr<xkb_keymap, void (*)(xkb_keymap*)> keymap;
};

/// The key, by its number in the kernel, that gives what `key` gives on a US keyboard: only letters move about. Nothing
/// where they lie on different keys in several layouts, or on none. Pure.
[[nodiscard]] std::optional<quint32> keyInLayouts(xkb_keymap* map, quint32 key);

} // namespace ovalin
