#include "VirtualKeyboard.h"

#include "base/Descriptor.h"

#include <QByteArray>

#include <cstdlib>
#include <memory>

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>

#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

namespace ovalin {

namespace {

struct Held {
    quint8 modifier;
    quint32 key;
    quint32 mask; // of the X protocol
};
constexpr Held MODIFIERS[] = {{WaylandChord::Control, KEY_LEFTCTRL, 4}, {WaylandChord::Shift, KEY_LEFTSHIFT, 1}};

/// The text of a plain keyboard's map; it never changes.
const QByteArray& keymap() {
    static const QByteArray text = [] {
        const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(
            xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES), &xkb_context_unref);
        xkb_rule_names names{};
        names.layout = "us";
        const std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> map(
            context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS) : nullptr,
            &xkb_keymap_unref);
        char* written = map ? xkb_keymap_get_as_string(map.get(), XKB_KEYMAP_FORMAT_TEXT_V1) : nullptr;
        const QByteArray copy(written);
        std::free(written);
        return copy;
    }();
    return text;
}

class Fingers {
public:
    explicit Fingers(zwp_virtual_keyboard_v1* theKeyboard)
        : keyboard(theKeyboard) {}

    void press(const WaylandChord& chord) {
        for (const Held& held : MODIFIERS) {
            if (chord.modifiers & held.modifier)
                hold(held, true);
        }
        key(chord.key, true);
        key(chord.key, false);
        for (const Held& held : MODIFIERS) {
            if (chord.modifiers & held.modifier)
                hold(held, false);
        }
    }

private:
    void key(quint32 code, bool down) {
        zwp_virtual_keyboard_v1_key(keyboard, ++time, code,
                                    down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
    }
    void hold(const Held& held, bool down) {
        key(held.key, down);
        mask = down ? mask | held.mask : mask & ~held.mask;
        zwp_virtual_keyboard_v1_modifiers(keyboard, mask, 0, 0, 0);
    }

    zwp_virtual_keyboard_v1* const keyboard;
    quint32 time = 0;
    quint32 mask = 0;
};

} // namespace

bool VirtualKeyboard::send(const std::vector<WaylandChord>& chords, EventThread::Task done) {
    const auto& globals = thread.globals();
    const QByteArray& map = keymap();
    if (!globals.keyboards || !globals.seat || map.isEmpty())
        return false;
    const Descriptor file(::memfd_create("keymap", MFD_CLOEXEC));
    const auto size = map.size() + 1; // with the end of the C string
    if (!file || ::write(file.get(), map.constData(), static_cast<size_t>(size)) != size)
        return false;
    auto* keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(globals.keyboards, globals.seat);
    zwp_virtual_keyboard_v1_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file.get(), static_cast<quint32>(size));
    Fingers fingers(keyboard);
    for (const WaylandChord& chord : chords)
        fingers.press(chord);
    thread.whenWorkedOff([keyboard, done = std::move(done)] {
        zwp_virtual_keyboard_v1_destroy(keyboard);
        done();
    });
    return true;
}

} // namespace ovalin
