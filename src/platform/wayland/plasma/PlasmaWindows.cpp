#include "PlasmaWindows.h"

#include <algorithm>

#include "plasma-window-management-client-protocol.h"
#include <wayland-client.h>

namespace ovalin {

namespace {

using Handle = org_kde_plasma_window;

constexpr quint32 LEAST = 13, MOST = 16; // from 13 on windows are told by their uuid
constexpr auto ACTIVE = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;
constexpr auto MINIMIZED = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MINIMIZED;

} // namespace

bool PlasmaWindows::offered(const WaylandThread& thread) {
    return thread.offers(org_kde_plasma_window_management_interface.name) >= LEAST;
}

PlasmaWindows::PlasmaWindows(WaylandThread& theThread, WindowBook& theBook, Focused theFocused)
    : thread(theThread)
    , book(theBook)
    , focused(std::move(theFocused)) {
    static const org_kde_plasma_window_management_listener listener{
        [](void*, org_kde_plasma_window_management*, quint32) {},
        [](void*, org_kde_plasma_window_management*, quint32) {},
        [](void*, org_kde_plasma_window_management*, wl_array*) {},
        [](void*, org_kde_plasma_window_management*, const char*) {},
        [](void* self, org_kde_plasma_window_management*, quint32, const char* uuid) {
            static_cast<PlasmaWindows*>(self)->add(uuid);
        }};
    management = static_cast<org_kde_plasma_window_management*>(
        thread.bindFurther(org_kde_plasma_window_management_interface, MOST));
    if (management)
        org_kde_plasma_window_management_add_listener(management, &listener, this);
}

PlasmaWindows::~PlasmaWindows() {
    for (const Entry& entry : entries)
        org_kde_plasma_window_destroy(entry.handle);
    if (management)
        org_kde_plasma_window_management_destroy(management);
}

void PlasmaWindows::add(const char* uuid) {
    static const org_kde_plasma_window_listener listener{
        .title_changed =
            [](void* data, Handle*, const char* title) {
                auto* entry = static_cast<Entry*>(data);
                entry->window.title = QString::fromUtf8(title);
                entry->owner->update();
            },
        .app_id_changed =
            [](void* data, Handle*, const char* appId) {
                auto* entry = static_cast<Entry*>(data);
                entry->window.appId = QString::fromUtf8(appId);
                entry->owner->update();
            },
        .state_changed =
            [](void* data, Handle*, quint32 flags) {
                auto* entry = static_cast<Entry*>(data);
                entry->active = flags & ACTIVE;
                entry->minimized = flags & MINIMIZED;
                entry->owner->update();
            },
        .virtual_desktop_changed = [](void*, Handle*, qint32) {},
        .themed_icon_name_changed = [](void*, Handle*, const char*) {},
        .unmapped =
            [](void* data, Handle*) {
                const auto* entry = static_cast<Entry*>(data);
                entry->owner->remove(*entry);
            },
        .initial_state =
            [](void* data, Handle*) {
                auto* entry = static_cast<Entry*>(data);
                entry->told = true;
                entry->owner->update();
            },
        .parent_window = [](void*, Handle*, Handle*) {},
        .geometry =
            [](void* data, Handle*, qint32 x, qint32 y, quint32 width, quint32 height) {
                auto* entry = static_cast<Entry*>(data);
                entry->window.frame = {x, y, static_cast<int>(width), static_cast<int>(height)};
                entry->owner->update();
            },
        .icon_changed = [](void*, Handle*) {},
        .pid_changed =
            [](void* data, Handle*, quint32 pid) {
                auto* entry = static_cast<Entry*>(data);
                entry->window.pid = static_cast<qint32>(pid);
                entry->owner->update();
            },
        .virtual_desktop_entered = [](void*, Handle*, const char*) {},
        .virtual_desktop_left = [](void*, Handle*, const char*) {},
        .application_menu = [](void*, Handle*, const char*, const char*) {},
        .activity_entered = [](void*, Handle*, const char*) {},
        .activity_left = [](void*, Handle*, const char*) {},
        .resource_name_changed =
            [](void* data, Handle*, const char* name) {
                auto* entry = static_cast<Entry*>(data);
                entry->window.instance = QString::fromUtf8(name);
                entry->owner->update();
            }};
    Entry& entry = entries.emplace_back();
    entry.owner = this;
    entry.since = std::chrono::steady_clock::now();
    entry.window.handle = QString::fromUtf8(uuid);
    entry.window.id = ++lastId;
    entry.handle = org_kde_plasma_window_management_get_window_by_uuid(management, uuid);
    org_kde_plasma_window_add_listener(entry.handle, &listener, &entry);
}

void PlasmaWindows::remove(const Entry& entry) {
    org_kde_plasma_window_destroy(entry.handle);
    const quint64 id = entry.window.id;
    std::erase_if(entries, [id](const Entry& each) { return each.window.id == id; });
    lastWent = std::chrono::steady_clock::now();
    book.closed(id);
    update();
}

const PlasmaWindows::Entry* PlasmaWindows::find(quint64 id) const {
    const auto found = std::ranges::find_if(entries, [id](const Entry& each) { return each.window.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

void PlasmaWindows::update() {
    const auto active = std::ranges::find_if(entries, [](const Entry& each) { return each.told && each.active; });
    const quint64 now = active == entries.end() ? 0 : active->window.id;
    if (now && now != withKeyboard) {
        const Deadline recent = std::chrono::steady_clock::now() - AT_ONCE;
        focused(active->since > recent || lastWent > recent ? Change::ByItself : Change::ByUser);
    }
    withKeyboard = now;
    // None has the keyboard while a panel has it: the one before is still in front.
    const auto before = book.front();
    const Entry* front = now ? &*active : before ? find(before->id) : nullptr;
    if (front && !now && front->minimized)
        front = nullptr;
    book.setFront(front ? std::optional(front->window) : std::nullopt);
    book.setKeyboardThere(now != 0);
}

void PlasmaWindows::bring(quint64 id) {
    if (const Entry* entry = find(id))
        org_kde_plasma_window_set_state(entry->handle, ACTIVE, ACTIVE);
}

void PlasmaWindows::visible(std::function<void(Windows)> answer) {
    const auto front = book.front();
    Windows found;
    if (front)
        found.push_back(*front);
    for (const Entry& entry : entries) {
        if (entry.told && !entry.minimized && !(front && entry.window.pid == front->pid))
            found.push_back(entry.window);
    }
    answer(std::move(found));
}

} // namespace ovalin
