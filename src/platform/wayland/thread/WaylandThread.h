#pragma once

// Wayland's services, how they hang together; the panel's own surface is platform/wayland/panel:
//
//   WaylandThread      our second connection to the compositor, on a thread of its own like the X thread; on it:
//    ├ Toplevels         the windows of all applications, and which one has the keyboard
//    ├ DataControl       CLIPBOARD and PRIMARY: what is in them, since when, our loans
//    ├ WindowSource      the same with processes and places, in the compositor's own way: SwayWindows, PlasmaWindows
//    └ KeySender         keys into what has the keyboard: VirtualKeyboard, FakeKeys
//   WindowBook         which windows there are, as the last event told it; any thread, nobody is asked
//   WaylandPasteboard  asked on the main thread and on workers, which read from the owner by themselves

#include "base/EventThread.h"

#include <QByteArray>
#include <QHash>
#include <QStringList>

struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_seat;
struct zwlr_data_control_manager_v1;
struct zwlr_foreign_toplevel_manager_v1;
struct zwp_virtual_keyboard_manager_v1;

namespace ovalin {

/// An EventThread whose server is a Wayland compositor.
class WaylandThread final : public EventThread {
public:
    /// What the compositor offers to us; null: it does not.
    struct Globals {
        wl_seat* seat = nullptr; ///< the first
        zwlr_data_control_manager_v1* dataControl = nullptr;
        zwlr_foreign_toplevel_manager_v1* toplevels = nullptr;
        zwp_virtual_keyboard_manager_v1* keyboards = nullptr;
        quint32 dataControlVersion = 0;
    };

    /// Connects to `display` ($WAYLAND_DISPLAY when empty), and learns what there is, two seconds at most. Without a
    /// compositor the object is usable and answers nothing.
    explicit WaylandThread(const QByteArray& display = {});
    ~WaylandThread();
    using EventThread::finish; // before those go who have timers and questions on it

    /// Never changes. Any thread.
    [[nodiscard]] const Globals& globals() const { return offered; }
    /// What else was offered in the beginning: the version of it, 0 when it was not. Never changes; any thread.
    [[nodiscard]] quint32 offers(const QByteArray& interface) const { return further.value(interface).version; }

    // On the thread only, or before and after it runs:

    /// A new object for one of what else was offered, of this version at most, and the caller's; null: it was not.
    [[nodiscard]] void* bindFurther(const wl_interface& wanted, quint32 most);

    /// Calls `done` when the compositor has worked off all that was sent before.
    void whenWorkedOff(Task done);

private:
    [[nodiscard]] int descriptor() const override;
    [[nodiscard]] bool connected() const override;
    bool react() override;
    [[nodiscard]] bool hasMoreToSend() const override { return more; }
    void lost() override;

    void appeared(quint32 name, const QByteArray& interface, quint32 version);

    struct Global {
        quint32 name = 0, version = 0;
    };

    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    Globals offered;
    QHash<QByteArray, Global> further; // the first of each
    bool more = false;
};

/// The interfaces that a compositor offers, asked on a short connection of its own, 5 seconds at most; empty where none
/// answers. Any thread; before the program has one too.
[[nodiscard]] QByteArrayList waylandInterfaces(const QByteArray& display = {});

} // namespace ovalin
