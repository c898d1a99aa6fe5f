#pragma once

#include <memory>

#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>

namespace ovalin {

/// What ends each object of libwayland, at the compositor too.
struct EndProxy {
    void operator()(wl_buffer* proxy) const { wl_buffer_destroy(proxy); }
    void operator()(wl_callback* proxy) const { wl_callback_destroy(proxy); }
    void operator()(wl_pointer* proxy) const { wl_pointer_destroy(proxy); }
    void operator()(wl_registry* proxy) const { wl_registry_destroy(proxy); }
    void operator()(wl_surface* proxy) const { wl_surface_destroy(proxy); }
    void operator()(wp_viewport* proxy) const { wp_viewport_destroy(proxy); }
    void operator()(zwlr_layer_surface_v1* proxy) const { zwlr_layer_surface_v1_destroy(proxy); }
    void operator()(zwlr_screencopy_frame_v1* proxy) const { zwlr_screencopy_frame_v1_destroy(proxy); }
};

template <class Proxy>
using Owned = std::unique_ptr<Proxy, EndProxy>;

} // namespace ovalin
