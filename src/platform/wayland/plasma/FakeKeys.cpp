#include "FakeKeys.h"

#include "base/Descriptor.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>

#include "fake-input-client-protocol.h"
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

namespace ovalin {

namespace {

constexpr quint32 LEAST = 4; // keys
constexpr quint32 EVDEV = 8; // what xkb adds to the kernel's numbers
constexpr quint32 HELD[] = {KEY_LEFTALT,   KEY_RIGHTALT,   KEY_LEFTCTRL, KEY_RIGHTCTRL,
                            KEY_LEFTSHIFT, KEY_RIGHTSHIFT, KEY_LEFTMETA, KEY_RIGHTMETA};

xkb_keysym_t letterOf(quint32 key) { return key == KEY_V ? XKB_KEY_v : key == KEY_C ? XKB_KEY_c : XKB_KEY_NoSymbol; }

} // namespace

std::optional<quint32> keyInLayouts(xkb_keymap* map, quint32 key) {
    const xkb_keysym_t letter = letterOf(key);
    if (letter == XKB_KEY_NoSymbol)
        return key;
    std::optional<quint32> found;
    for (xkb_keycode_t code = xkb_keymap_min_keycode(map); code <= xkb_keymap_max_keycode(map); ++code) {
        for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts_for_key(map, code); ++layout) {
            const xkb_keysym_t* symbols = nullptr;
            if (xkb_keymap_key_get_syms_by_level(map, code, layout, 0, &symbols) != 1 || *symbols != letter)
                continue;
            if (found && *found != code - EVDEV)
                return {};
            found = code - EVDEV;
        }
    }
    return found;
}

bool FakeKeys::offered(const WaylandThread& thread) {
    return thread.offers(org_kde_kwin_fake_input_interface.name) >= LEAST;
}

FakeKeys::FakeKeys(WaylandThread& theThread)
    : thread(theThread)
    , context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES), &xkb_context_unref)
    , keymap(nullptr, &xkb_keymap_unref) {
    input = static_cast<org_kde_kwin_fake_input*>(thread.bindFurther(org_kde_kwin_fake_input_interface, LEAST));
    if (input)
        org_kde_kwin_fake_input_authenticate(input, "Ovalin", "to copy what is selected, and to paste over it");
    // The seat tells of its keyboard later than of itself.
    static const wl_keyboard_listener keyListener{
        [](void* self, wl_keyboard*, quint32, qint32 descriptor, quint32 size) {
            static_cast<FakeKeys*>(self)->tookKeymap(descriptor, size);
        },
        [](void*, wl_keyboard*, quint32, wl_surface*, wl_array*) {},
        [](void*, wl_keyboard*, quint32, wl_surface*) {},
        [](void*, wl_keyboard*, quint32, quint32, quint32, quint32) {},
        [](void*, wl_keyboard*, quint32, quint32, quint32, quint32, quint32) {},
        [](void*, wl_keyboard*, qint32, qint32) {}};
    static const wl_seat_listener seatListener{[](void* data, wl_seat* from, quint32 capabilities) {
                                                   auto* self = static_cast<FakeKeys*>(data);
                                                   if (!(capabilities & WL_SEAT_CAPABILITY_KEYBOARD) || self->keyboard)
                                                       return;
                                                   self->keyboard = wl_seat_get_keyboard(from);
                                                   wl_keyboard_add_listener(self->keyboard, &keyListener, self);
                                               },
                                               [](void*, wl_seat*, const char*) {}};
    seat = static_cast<wl_seat*>(thread.bindFurther(wl_seat_interface, 1));
    if (seat)
        wl_seat_add_listener(seat, &seatListener, this);
}

FakeKeys::~FakeKeys() {
    if (keyboard)
        wl_keyboard_destroy(keyboard);
    if (seat)
        wl_seat_destroy(seat);
    if (input)
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(input)); // this version cannot be told of its end
}

void FakeKeys::tookKeymap(int descriptor, quint32 size) {
    const Descriptor file(descriptor);
    void* text = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (text == MAP_FAILED)
        return;
    keymap.reset(xkb_keymap_new_from_buffer(context.get(), static_cast<const char*>(text), size ? size - 1 : 0,
                                            XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
    ::munmap(text, size);
}

bool FakeKeys::send(const std::vector<WaylandChord>& chords, EventThread::Task done) {
    if (!input || !keymap)
        return false;
    std::vector<std::pair<quint32, bool>> strokes; // key, down
    for (const quint32 key : HELD)
        strokes.emplace_back(key, false);
    for (const WaylandChord& chord : chords) {
        const auto key = keyInLayouts(keymap.get(), chord.key);
        if (!key)
            return false;
        const bool control = chord.modifiers & WaylandChord::Control, shift = chord.modifiers & WaylandChord::Shift;
        const std::pair<quint32, bool> modifiers[] = {{KEY_LEFTCTRL, control}, {KEY_LEFTSHIFT, shift}};
        const auto hold = [&](bool down) {
            for (const auto& [modifier, wanted] : modifiers) {
                if (wanted)
                    strokes.emplace_back(modifier, down);
            }
        };
        hold(true);
        strokes.emplace_back(*key, true);
        strokes.emplace_back(*key, false);
        hold(false);
    }
    for (const auto& [key, down] : strokes)
        org_kde_kwin_fake_input_keyboard_key(input, key, down);
    thread.whenWorkedOff(std::move(done));
    return true;
}

} // namespace ovalin
