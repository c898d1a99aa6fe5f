#include "OutputConnection.h"

#include "base/Descriptor.h"

#include <algorithm>
#include <cstring>

#include <poll.h>
#include <sys/mman.h>

namespace ovalin {

namespace {

template <class Proxy>
Proxy* bound(wl_registry* registry, uint32_t global, const wl_interface& interface, uint32_t version) {
    return static_cast<Proxy*>(wl_registry_bind(registry, global, &interface, version));
}

OutputConnection::Output* outputOf(void* data, const wl_output* proxy) {
    auto& all = *static_cast<std::vector<OutputConnection::Output>*>(data);
    const auto found = std::ranges::find(all, proxy, &OutputConnection::Output::proxy);
    return found != all.end() ? &*found : nullptr;
}

// What is told of an output may be told again.
const wl_output_listener outputListener = {
    [](void* data, wl_output* output, int32_t, int32_t, int32_t, int32_t, int32_t, const char*, const char*,
       int32_t transform) {
        if (auto* const known = outputOf(data, output))
            known->transform = transform;
    },
    [](void*, wl_output*, uint32_t, int32_t, int32_t, int32_t) {},
    [](void*, wl_output*) {},
    [](void*, wl_output*, int32_t) {},
    [](void* data, wl_output* output, const char* name) {
        if (auto* const known = outputOf(data, output))
            known->name = QString::fromUtf8(name);
    },
    [](void*, wl_output*, const char*) {},
};

const wl_seat_listener seatListener = {
    [](void* data, wl_seat* seat, uint32_t capabilities) {
        for (auto& known : *static_cast<std::vector<OutputConnection::Seat>*>(data)) {
            if (known.proxy == seat)
                known.hasPointer = capabilities & WL_SEAT_CAPABILITY_POINTER;
        }
    },
    [](void*, wl_seat*, const char*) {},
};

} // namespace

OutputConnection::OutputConnection()
    : display(wl_display_connect(nullptr)) {
    if (!display)
        return;
    static const wl_registry_listener listener = {
        [](void* self, wl_registry* from, uint32_t global, const char* interface, uint32_t version) {
            static_cast<OutputConnection*>(self)->added(from, global, interface, version);
        },
        [](void* self, wl_registry*, uint32_t global) { static_cast<OutputConnection*>(self)->removed(global); },
    };
    registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, this);
    wl_display_roundtrip(display); // what there is
    wl_display_roundtrip(display); // what it is called
}

// The compositor forgets what was ours with the connection.
OutputConnection::~OutputConnection() {
    if (!display)
        return;
    const auto forget = [](auto* proxy) {
        if (proxy)
            wl_proxy_destroy(reinterpret_cast<wl_proxy*>(proxy));
    };
    for (const Output& output : knownOutputs)
        forget(output.proxy);
    for (const Seat& seat : knownSeats)
        forget(seat.proxy);
    forget(compositor);
    forget(shm);
    forget(viewporter);
    forget(layerShell);
    forget(screencopy);
    forget(registry);
    wl_display_disconnect(display);
}

void OutputConnection::added(wl_registry* from, uint32_t global, const char* interface, uint32_t version) {
    const auto is = [interface](const wl_interface& other) { return std::strcmp(interface, other.name) == 0; };
    if (is(wl_compositor_interface)) {
        compositor = bound<wl_compositor>(from, global, wl_compositor_interface, 1);
    } else if (is(wl_shm_interface)) {
        shm = bound<wl_shm>(from, global, wl_shm_interface, 1);
    } else if (is(wp_viewporter_interface)) {
        viewporter = bound<wp_viewporter>(from, global, wp_viewporter_interface, 1);
    } else if (is(zwlr_layer_shell_v1_interface)) {
        layerShell = bound<zwlr_layer_shell_v1>(from, global, zwlr_layer_shell_v1_interface, 1);
    } else if (is(zwlr_screencopy_manager_v1_interface)) {
        screencopy = bound<zwlr_screencopy_manager_v1>(from, global, zwlr_screencopy_manager_v1_interface, 1);
    } else if (is(wl_seat_interface)) {
        auto* seat = bound<wl_seat>(from, global, wl_seat_interface, 1);
        wl_seat_add_listener(seat, &seatListener, &knownSeats);
        knownSeats.push_back({global, seat});
    } else if (is(wl_output_interface)) {
        auto* output = bound<wl_output>(from, global, wl_output_interface, std::min(version, 4U));
        wl_output_add_listener(output, &outputListener, &knownOutputs);
        knownOutputs.push_back({global, output, {}});
    }
}

void OutputConnection::removed(uint32_t global) {
    std::erase_if(knownOutputs, [global](const Output& output) {
        if (output.global == global)
            wl_output_destroy(output.proxy);
        return output.global == global;
    });
    std::erase_if(knownSeats, [global](const Seat& seat) {
        if (seat.global == global)
            wl_seat_destroy(seat.proxy);
        return seat.global == global;
    });
}

void OutputConnection::refresh() {
    waitUntil(deadlineIn({}), [] { return false; });
}

void OutputConnection::flush() const {
    if (display)
        wl_display_flush(display);
}

bool OutputConnection::waitUntil(Deadline deadline, const std::function<bool()>& done) {
    if (!display)
        return false;
    while (!done()) {
        if (wl_display_prepare_read(display) != 0) {
            if (wl_display_dispatch_pending(display) < 0)
                return false;
            continue;
        }
        wl_display_flush(display);
        pollfd ready{wl_display_get_fd(display), POLLIN, 0};
        if (::poll(&ready, 1, pollTimeout(deadline)) <= 0) {
            wl_display_cancel_read(display);
            return false;
        }
        if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0)
            return false;
    }
    flush();
    return true;
}

Owned<wl_callback> OutputConnection::mark(bool& reached) const {
    static const wl_callback_listener listener = {
        [](void* flag, wl_callback*, uint32_t) { *static_cast<bool*>(flag) = true; }};
    Owned<wl_callback> callback(wl_display_sync(display));
    wl_callback_add_listener(callback.get(), &listener, &reached);
    return callback;
}

OutputConnection::Buffer OutputConnection::makeBuffer(QSize size, int stride, uint32_t format) const {
    const qint64 bytes = qint64{stride} * size.height();
    constexpr qint64 MOST = 256 << 20;
    if (!shm || bytes <= 0 || bytes > MOST)
        return {};
    const Descriptor memory(::memfd_create("ovalin-screen", MFD_CLOEXEC));
    if (!memory || ::ftruncate(memory.get(), bytes) != 0)
        return {};
    const auto length = static_cast<size_t>(bytes);
    void* const mapped = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, memory.get(), 0);
    if (mapped == MAP_FAILED)
        return {};
    Buffer buffer;
    buffer.pixels = {static_cast<uchar*>(mapped), [length](uchar* at) { ::munmap(at, length); }};
    wl_shm_pool* const pool = wl_shm_create_pool(shm, memory.get(), static_cast<int32_t>(bytes));
    buffer.proxy.reset(wl_shm_pool_create_buffer(pool, 0, size.width(), size.height(), stride, format));
    wl_shm_pool_destroy(pool);
    return buffer;
}

} // namespace ovalin
