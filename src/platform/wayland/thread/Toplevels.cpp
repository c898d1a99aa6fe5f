#include "Toplevels.h"

#include <algorithm>
#include <span>

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
#include <wayland-client.h>

namespace ovalin {

namespace {

using Handle = zwlr_foreign_toplevel_handle_v1;

bool isActive(const wl_array* states) {
    const std::span all(static_cast<const quint32*>(states->data), states->size / sizeof(quint32));
    return std::ranges::find(all, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) != all.end();
}

} // namespace

Toplevels::Toplevels(WaylandThread& theThread, std::function<void()> theChanged)
    : thread(theThread)
    , changed(std::move(theChanged)) {
    static const zwlr_foreign_toplevel_manager_v1_listener listener{
        [](void* self, zwlr_foreign_toplevel_manager_v1*, Handle* handle) {
            if (self)
                static_cast<Toplevels*>(self)->add(handle);
            else
                zwlr_foreign_toplevel_handle_v1_destroy(handle);
        },
        [](void*, zwlr_foreign_toplevel_manager_v1*) {}};
    if (thread.globals().toplevels)
        zwlr_foreign_toplevel_manager_v1_add_listener(thread.globals().toplevels, &listener, this);
}

Toplevels::~Toplevels() {
    if (thread.globals().toplevels)
        zwlr_foreign_toplevel_manager_v1_set_user_data(thread.globals().toplevels, nullptr);
    for (const Entry& entry : windows)
        zwlr_foreign_toplevel_handle_v1_destroy(entry.handle);
}

void Toplevels::add(Handle* handle) {
    static const zwlr_foreign_toplevel_handle_v1_listener listener{
        [](void* data, Handle*, const char* title) { static_cast<Entry*>(data)->title = QString::fromUtf8(title); },
        [](void* data, Handle*, const char* appId) { static_cast<Entry*>(data)->appId = QString::fromUtf8(appId); },
        [](void*, Handle*, wl_output*) {},
        [](void*, Handle*, wl_output*) {},
        [](void* data, Handle*, wl_array* states) { static_cast<Entry*>(data)->nextActive = isActive(states); },
        [](void* data, Handle*) {
            auto* entry = static_cast<Entry*>(data);
            entry->active = entry->nextActive;
            entry->owner->changed();
        },
        [](void* data, Handle*) {
            auto* entry = static_cast<Entry*>(data);
            entry->owner->remove(*entry);
        },
        [](void*, Handle*, Handle*) {}};
    Entry& entry = windows.emplace_back();
    entry.id = ++lastId;
    entry.handle = handle;
    entry.owner = this;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &listener, &entry);
}

void Toplevels::remove(const Entry& entry) {
    zwlr_foreign_toplevel_handle_v1_destroy(entry.handle);
    std::erase_if(windows, [id = entry.id](const Entry& each) { return each.id == id; });
    changed();
}

const Toplevels::Window* Toplevels::active() const {
    const auto found = std::ranges::find(windows, true, &Entry::active);
    return found == windows.end() ? nullptr : &*found;
}

const Toplevels::Window* Toplevels::find(quint64 id) const {
    const auto found = std::ranges::find(windows, id, &Entry::id);
    return found == windows.end() ? nullptr : &*found;
}

bool Toplevels::activate(quint64 id) {
    const auto found = std::ranges::find(windows, id, &Entry::id);
    if (found == windows.end() || !thread.globals().seat)
        return false;
    zwlr_foreign_toplevel_handle_v1_activate(found->handle, thread.globals().seat);
    return true;
}

} // namespace ovalin
