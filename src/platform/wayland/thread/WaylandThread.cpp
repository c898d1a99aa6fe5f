#include "WaylandThread.h"

#include "base/Log.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"
#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
#include <wayland-client.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds START{2}, ANSWER{5}; // one that has just begun is busy

/// wl_display_roundtrip() would wait for ever.
bool roundTrip(wl_display* display, Deadline deadline) {
    bool answered = false;
    static const wl_callback_listener listener{
        [](void* flag, wl_callback*, quint32) { *static_cast<bool*>(flag) = true; }};
    wl_callback* callback = wl_display_sync(display);
    wl_callback_add_listener(callback, &listener, &answered);
    while (!answered && wl_display_get_error(display) == 0) {
        wl_display_flush(display);
        if (wl_display_dispatch_pending(display) > 0)
            continue;
        pollfd ready{wl_display_get_fd(display), POLLIN, 0};
        if (::poll(&ready, 1, pollTimeout(deadline)) == 0)
            break;
        if (wl_display_prepare_read(display) == 0)
            wl_display_read_events(display);
    }
    wl_callback_destroy(callback);
    return answered;
}

template <class T>
T* bind(wl_registry* registry, quint32 name, const wl_interface& interface, quint32 version) {
    return static_cast<T*>(wl_registry_bind(registry, name, &interface, version));
}

} // namespace

QByteArrayList waylandInterfaces(const QByteArray& name) {
    wl_display* display = wl_display_connect(name.isEmpty() ? nullptr : name.constData());
    if (!display)
        return {};
    QByteArrayList found;
    static const wl_registry_listener listener{[](void* list, wl_registry*, quint32, const char* interface, quint32) {
                                                   static_cast<QByteArrayList*>(list)->append(interface);
                                               },
                                               [](void*, wl_registry*, quint32) {}};
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, &found);
    if (!roundTrip(display, deadlineIn(ANSWER)))
        found.clear();
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return found;
}

WaylandThread::WaylandThread(const QByteArray& name)
    : display(wl_display_connect(name.isEmpty() ? nullptr : name.constData())) {
    if (!display)
        return;
    static const wl_registry_listener listener{
        [](void* self, wl_registry*, quint32 global, const char* interface, quint32 version) {
            static_cast<WaylandThread*>(self)->appeared(global, interface, version);
        },
        [](void*, wl_registry*, quint32) {}};
    registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, this);
    if (roundTrip(display, deadlineIn(START)))
        begin();
}

WaylandThread::~WaylandThread() {
    finish();
    if (!display)
        return;
    const auto end = [](auto* object, auto destroy) {
        if (object)
            destroy(object);
    };
    end(offered.seat, wl_seat_destroy);
    end(offered.dataControl, zwlr_data_control_manager_v1_destroy);
    end(offered.toplevels, zwlr_foreign_toplevel_manager_v1_destroy);
    end(offered.keyboards, zwp_virtual_keyboard_manager_v1_destroy);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
}

void WaylandThread::appeared(quint32 name, const QByteArray& interface, quint32 version) {
    if (alive())
        return; // all that we use is there from the beginning
    const auto take = [&](auto*& global, const wl_interface& wanted, quint32 most) {
        if (global == nullptr && interface == wanted.name)
            global = bind<std::remove_reference_t<decltype(*global)>>(registry, name, wanted, std::min(version, most));
    };
    if (!further.contains(interface))
        further.insert(interface, {name, version});
    take(offered.seat, wl_seat_interface, 1);
    take(offered.dataControl, zwlr_data_control_manager_v1_interface, 2);
    take(offered.toplevels, zwlr_foreign_toplevel_manager_v1_interface, 3);
    take(offered.keyboards, zwp_virtual_keyboard_manager_v1_interface, 1);
    if (interface == zwlr_data_control_manager_v1_interface.name)
        offered.dataControlVersion = std::min(version, 2U);
}

void* WaylandThread::bindFurther(const wl_interface& wanted, quint32 most) {
    const Global global = further.value(wanted.name);
    return global.version ? bind<void>(registry, global.name, wanted, std::min(global.version, most)) : nullptr;
}

void WaylandThread::whenWorkedOff(Task done) {
    static const wl_callback_listener listener{[](void* data, wl_callback* callback, quint32) {
        const std::unique_ptr<Task> task(static_cast<Task*>(data));
        wl_callback_destroy(callback);
        (*task)();
    }};
    wl_callback_add_listener(wl_display_sync(display), &listener, new Task(std::move(done)));
}

int WaylandThread::descriptor() const { return wl_display_get_fd(display); }

bool WaylandThread::connected() const { return wl_display_get_error(display) == 0; }

bool WaylandThread::react() {
    bool any = wl_display_dispatch_pending(display) > 0;
    if (wl_display_prepare_read(display) == 0)
        wl_display_read_events(display); // takes what is there and does not wait
    any = wl_display_dispatch_pending(display) > 0 || any;
    more = wl_display_flush(display) < 0 && errno == EAGAIN;
    return any;
}

void WaylandThread::lost() { logOnce(u"compositor-gone"_s, u"Ovalin: the Wayland compositor is gone — exiting"_s); }

} // namespace ovalin
