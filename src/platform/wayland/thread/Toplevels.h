#pragma once

#include "WaylandThread.h"

#include <QString>

#include <functional>
#include <list>

struct zwlr_foreign_toplevel_handle_v1;

namespace ovalin {

/// The windows of all applications (wlr-foreign-toplevel-management): no process and no place of theirs is told. Made
/// and used on the WaylandThread.
class Toplevels {
public:
    struct Window {
        quint64 id = 0; ///< counted by us, never used twice
        zwlr_foreign_toplevel_handle_v1* handle = nullptr;
        QString appId;
        QString title;
        bool active = false; ///< it has the keyboard
    };

    /// `changed` is called after each change.
    Toplevels(WaylandThread& thread, std::function<void()> changed);
    ~Toplevels();
    Toplevels(const Toplevels&) = delete;
    Toplevels& operator=(const Toplevels&) = delete;

    /// The one that has the keyboard; null while a panel has it.
    [[nodiscard]] const Window* active() const;
    /// Null: it is gone.
    [[nodiscard]] const Window* find(quint64 id) const;
    /// Brings it to the front, and the keyboard to it; false when it is gone.
    bool activate(quint64 id);

private:
    struct Entry : Window {
        Toplevels* owner = nullptr;
        bool nextActive = false;
    };
    void add(zwlr_foreign_toplevel_handle_v1* handle);
    void remove(const Entry& entry);

    WaylandThread& thread;
    const std::function<void()> changed;
    std::list<Entry> windows;
    quint64 lastId = 0;
};

} // namespace ovalin
