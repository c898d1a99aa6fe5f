#include "support/WaylandHands.h"

#include <QFile>
#include <QStringList>
#include <QThread>

#include <algorithm>
#include <stdexcept>

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>

#ifdef OVALIN_PLASMA
#include "fake-input-client-protocol.h"
#endif
#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

namespace ovalin {

namespace {

using namespace Qt::StringLiterals;

constexpr int EVDEV = 8; // what xkb adds to the kernel's numbers

struct Held {
    const char* name;
    quint32 key;
};
constexpr Held HELD[] = {
    {"ctrl", KEY_LEFTCTRL}, {"shift", KEY_LEFTSHIFT}, {"alt", KEY_LEFTALT}, {"super", KEY_LEFTMETA}};

/// KWin takes the user's hands from one device.
class FakeInput {
public:
#ifdef OVALIN_PLASMA
    void offered(wl_registry* registry, quint32 name) {
        input = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
        org_kde_kwin_fake_input_authenticate(input, "hands", "to try programs");
    }
    explicit operator bool() const { return input; }
    void key(quint32 code, bool down) { org_kde_kwin_fake_input_keyboard_key(input, code, down); }
    void move(QPoint to) {
        org_kde_kwin_fake_input_pointer_motion_absolute(input, wl_fixed_from_int(to.x()), wl_fixed_from_int(to.y()));
    }
    void button(bool down) { org_kde_kwin_fake_input_button(input, BTN_LEFT, down); }

private:
    org_kde_kwin_fake_input* input = nullptr;
#else
    void offered(wl_registry*, quint32) {}
    explicit operator bool() const { return false; }
    void key(quint32, bool) {}
    void move(QPoint) {}
    void button(bool) {}
#endif
};

} // namespace

struct WaylandHands::Parts {
    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    wl_seat* seat = nullptr;
    zwp_virtual_keyboard_manager_v1* keyboards = nullptr;
    zwlr_virtual_pointer_manager_v1* pointers = nullptr;
    zwp_virtual_keyboard_v1* keyboard = nullptr;
    zwlr_virtual_pointer_v1* pointer = nullptr;
    FakeInput fake; // in place of both
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_keymap* map = nullptr;
    xkb_state* state = nullptr;
    quint32 time = 0;
    QSize screen;

    void finish() { wl_display_roundtrip(display); }

    struct Found {
        quint32 key = 0;
        bool shift = false;
    };
    [[nodiscard]] Found keyOf(xkb_keysym_t symbol) const {
        for (xkb_keycode_t code = xkb_keymap_min_keycode(map); code <= xkb_keymap_max_keycode(map); ++code) {
            for (const xkb_level_index_t level : {0U, 1U}) {
                const xkb_keysym_t* symbols = nullptr;
                if (xkb_keymap_key_get_syms_by_level(map, code, 0, level, &symbols) == 1 && *symbols == symbol)
                    return {code - EVDEV, level == 1};
            }
        }
        throw std::runtime_error("no such key");
    }
    [[nodiscard]] quint32 named(const QString& name) const {
        for (const Held& held : HELD) {
            if (name == QLatin1String(held.name))
                return held.key;
        }
        return keyOf(xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_CASE_INSENSITIVE)).key;
    }
    void key(quint32 code, bool down) {
        if (fake) {
            fake.key(code, down);
            return finish();
        }
        zwp_virtual_keyboard_v1_key(keyboard, ++time, code, down ? 1 : 0);
        xkb_state_update_key(state, code + EVDEV, down ? XKB_KEY_DOWN : XKB_KEY_UP);
        zwp_virtual_keyboard_v1_modifiers(keyboard, xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED), 0, 0, 0);
        finish();
    }
    void move(QPoint to) {
        if (fake) {
            fake.move(to);
            return finish();
        }
        zwlr_virtual_pointer_v1_motion_absolute(pointer, ++time, static_cast<quint32>(to.x()),
                                                static_cast<quint32>(to.y()), static_cast<quint32>(screen.width()),
                                                static_cast<quint32>(screen.height()));
        zwlr_virtual_pointer_v1_frame(pointer);
        finish();
    }
    void button(bool down) {
        if (fake) {
            fake.button(down);
        } else {
            zwlr_virtual_pointer_v1_button(pointer, ++time, BTN_LEFT, down ? 1 : 0);
            zwlr_virtual_pointer_v1_frame(pointer);
        }
        finish();
        QThread::msleep(20); // a finger's, so that the compositor's frames lie between
    }
};

WaylandHands::WaylandHands(const QString& runtimeFolder, const QString& display, QSize screen)
    : parts(std::make_unique<Parts>()) {
    parts->screen = screen;
    parts->display = wl_display_connect(QFile::encodeName(runtimeFolder + u'/' + display).constData());
    if (!parts->display)
        throw std::runtime_error("no compositor");
    static const wl_registry_listener listener{
        [](void* data, wl_registry* registry, quint32 name, const char* interface, quint32) {
            auto* all = static_cast<Parts*>(data);
            const auto take = [&](auto*& global, const wl_interface& wanted) {
                if (!global && QByteArray(interface) == wanted.name)
                    global = static_cast<std::remove_reference_t<decltype(global)>>(
                        wl_registry_bind(registry, name, &wanted, 1));
            };
            take(all->seat, wl_seat_interface);
            take(all->keyboards, zwp_virtual_keyboard_manager_v1_interface);
            take(all->pointers, zwlr_virtual_pointer_manager_v1_interface);
            if (QByteArray(interface) == "org_kde_kwin_fake_input")
                all->fake.offered(registry, name);
        },
        [](void*, wl_registry*, quint32) {}};
    parts->registry = wl_display_get_registry(parts->display);
    wl_registry_add_listener(parts->registry, &listener, parts.get());
    parts->finish();

    xkb_rule_names names{};
    names.layout = "us";
    parts->map = xkb_keymap_new_from_names(parts->context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    parts->state = xkb_state_new(parts->map);
    if (parts->fake) {
        parts->finish();
        return;
    }
    if (!parts->keyboards || !parts->pointers)
        throw std::runtime_error("the compositor lets nobody type and point");
    char* text = xkb_keymap_get_as_string(parts->map, XKB_KEYMAP_FORMAT_TEXT_V1);
    const QByteArray written = QByteArray(text) + char(0);
    ::free(text);
    const int file = ::memfd_create("keymap", MFD_CLOEXEC);
    [[maybe_unused]] const auto count = ::write(file, written.constData(), static_cast<size_t>(written.size()));
    parts->keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(parts->keyboards, parts->seat);
    zwp_virtual_keyboard_v1_keymap(parts->keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file,
                                   static_cast<quint32>(written.size()));
    ::close(file);
    parts->pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(parts->pointers, parts->seat);
    parts->finish();
}

WaylandHands::~WaylandHands() {
    if (!parts->fake) {
        zwlr_virtual_pointer_v1_destroy(parts->pointer);
        zwp_virtual_keyboard_v1_destroy(parts->keyboard);
        zwlr_virtual_pointer_manager_v1_destroy(parts->pointers);
        zwp_virtual_keyboard_manager_v1_destroy(parts->keyboards);
    }
    wl_seat_destroy(parts->seat);
    wl_registry_destroy(parts->registry);
    wl_display_disconnect(parts->display);
    xkb_state_unref(parts->state);
    xkb_keymap_unref(parts->map);
    xkb_context_unref(parts->context);
}

void WaylandHands::hold(const QString& chord) {
    for (const QString& name : chord.split(u'+'))
        parts->key(parts->named(name), true);
}

void WaylandHands::release(const QString& chord) {
    QStringList names = chord.split(u'+');
    std::reverse(names.begin(), names.end());
    for (const QString& name : names)
        parts->key(parts->named(name), false);
}

void WaylandHands::press(const QString& chord) {
    hold(chord);
    release(chord);
}

void WaylandHands::type(const QString& text) {
    for (const QChar character : text) {
        const auto found = parts->keyOf(xkb_utf32_to_keysym(character.unicode()));
        if (found.shift)
            parts->key(KEY_LEFTSHIFT, true);
        parts->key(found.key, true);
        parts->key(found.key, false);
        if (found.shift)
            parts->key(KEY_LEFTSHIFT, false);
        QThread::msleep(2);
    }
}

void WaylandHands::click(QPoint at) { drag(at, at); }

void WaylandHands::drag(QPoint from, QPoint to) {
    parts->move(from + QPoint(1, 1)); // the first motion only enters
    parts->move(from);
    parts->button(true);
    if (to != from) {
        parts->move((from + to) / 2);
        parts->move(to);
    }
    parts->button(false);
}

} // namespace ovalin
