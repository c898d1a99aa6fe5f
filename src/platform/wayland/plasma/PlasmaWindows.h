#pragma once

#include "platform/wayland/thread/WaylandThread.h"
#include "platform/wayland/thread/WindowSource.h"

#include <list>

struct org_kde_plasma_window;
struct org_kde_plasma_window_management;

namespace ovalin {

/// The windows as KWin tells of them (plasma-window-management), to programs whose desktop file asks for that.
class PlasmaWindows final : public WindowSource {
public:
    static bool offered(const WaylandThread& thread);

    /// `focused` is called when a window has got the keyboard, before the book tells so.
    PlasmaWindows(WaylandThread& thread, WindowBook& book, Focused focused);
    ~PlasmaWindows() override;
    PlasmaWindows(const PlasmaWindows&) = delete;
    PlasmaWindows& operator=(const PlasmaWindows&) = delete;

    void locate(EventThread::Task done) override { done(); } // every event tells
    void bring(quint64 id) override;
    /// The one in front first, and no other of its process; the rest in no order, those on other desktops with them.
    void visible(std::function<void(Windows)> answer) override;

private:
    struct Entry {
        PlasmaWindows* owner = nullptr;
        org_kde_plasma_window* handle = nullptr;
        WaylandWindow window;
        bool active = false, minimized = false;
        bool told = false; // all of it, for the first time
        Deadline since;    // it has been there
    };
    void add(const char* uuid);
    void remove(const Entry& entry);
    void update();
    [[nodiscard]] const Entry* find(quint64 id) const;

    WaylandThread& thread;
    WindowBook& book;
    const Focused focused;
    org_kde_plasma_window_management* management = nullptr;
    std::list<Entry> entries;
    quint64 lastId = 0;
    quint64 withKeyboard = 0; // its number
    Deadline lastWent;        // one
};

} // namespace ovalin
