#include "WaylandPrimaryGuard.h"

#include <cstring>
#include <deque>
#include <mutex>

#include <dlfcn.h>
#include <wayland-client.h>

namespace {

/// Whose registry it is, and what they want to hear of it.
struct Registry {
    const wl_registry_listener* listener;
    void* data;
};

const wl_registry_listener FILTER = {
    [](void* data, wl_registry* registry, uint32_t global, const char* interface, uint32_t version) {
        const auto* of = static_cast<Registry*>(data);
        if (std::strcmp(interface, "zwp_primary_selection_device_manager_v1") != 0)
            of->listener->global(of->data, registry, global, interface, version);
    },
    [](void* data, wl_registry* registry, uint32_t global) {
        const auto* of = static_cast<Registry*>(data);
        of->listener->global_remove(of->data, registry, global);
    },
};

} // namespace

// Same signature as in wayland-client-core.h, and in the same object file as setActive() so that the linker takes it
// along. All of libwayland's clients in this process come by here, Qt's plugin too.
extern "C" __attribute__((visibility("default"))) int wl_proxy_add_listener(wl_proxy* proxy,
                                                                            void (**implementation)(void), void* data) {
    static const auto next =
        reinterpret_cast<decltype(&wl_proxy_add_listener)>(::dlsym(RTLD_NEXT, "wl_proxy_add_listener"));
    if (!next)
        return -1;
    if (std::strcmp(wl_proxy_get_class(proxy), "wl_registry") != 0)
        return next(proxy, implementation, data);
    static std::mutex mutex;
    static std::deque<Registry> registries; // a handful, for as long as the process lives
    const std::lock_guard lock(mutex);
    registries.push_back({reinterpret_cast<const wl_registry_listener*>(implementation), data});
    return next(proxy, reinterpret_cast<void (**)(void)>(const_cast<wl_registry_listener*>(&FILTER)),
                &registries.back());
}

void ovalin::WaylandPrimaryGuard::setActive(bool) {}
