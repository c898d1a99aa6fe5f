#pragma once

// Wayland's services, how they hang together; the panel's own surface is platform/wayland/panel:
//
//   WaylandThread      our second connection to the compositor, on a thread of its own like the X thread; on it:
//    ├ Toplevels         the windows of all applications, and which one has the keyboard
//    ├ DataControl       CLIPBOARD and PRIMARY: what is in them, since when, our loans
//    └ VirtualKeyboard   a keyboard of ours, for one chord at a time
//   WindowBook         which windows there are, as the last event told it; any thread, nobody is asked
//   WaylandPasteboard  asked on the main thread and on workers, which read from the owner by themselves

#include "base/EventThread.h"

#include <QByteArray>
#include <QStringList>

struct wl_display;
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

    /// Never changes. Any thread.
    [[nodiscard]] const Globals& globals() const { return offered; }

    /// Calls `done` when the compositor has worked off all that was sent before. On the thread.
    void whenWorkedOff(Task done);

private:
    [[nodiscard]] int descriptor() const override;
    [[nodiscard]] bool connected() const override;
    bool react() override;
    [[nodiscard]] bool hasMoreToSend() const override { return more; }
    void lost() override;

    void appeared(quint32 name, const QByteArray& interface, quint32 version);

    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    Globals offered;
    bool more = false;
};

/// The interfaces that a compositor offers, asked on a short connection of its own, a second at most; empty where none
/// answers. Any thread; before the program has one too.
[[nodiscard]] QByteArrayList waylandInterfaces(const QByteArray& display = {});

} // namespace ovalin
