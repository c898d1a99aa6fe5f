#pragma once

#include "platform/x11/XThread.h"

#include <functional>

namespace ovalin {

/// Hears of every change of owner of CLIPBOARD and PRIMARY, by XFixes, without asking the owners. Made and used on the
/// X thread.
class SelectionChanges {
public:
    struct Change {
        xcb_atom_t selection;
        xcb_window_t owner; ///< none: given up, or the owner died
        quint32 time;       ///< X time since when it is owned
        bool ownerDied;
    };

    SelectionChanges(XThread& thread, std::function<void(const Change&)> changed);
    ~SelectionChanges();
    SelectionChanges(const SelectionChanges&) = delete;
    SelectionChanges& operator=(const SelectionChanges&) = delete;

private:
    XThread& thread;
    quint64 handler = 0;
};

} // namespace ovalin
