#pragma once

#include "platform/wayland/sway/SwayIpc.h"
#include "platform/wayland/sway/SwayWindows.h"
#include "platform/wayland/thread/Toplevels.h"
#include "platform/wayland/thread/WaylandThread.h"
#include "platform/wayland/thread/WindowBook.h"

#include <functional>
#include <memory>

namespace ovalin {

/// The compositor as all services share it: the thread, what runs on it, and the book of windows that it keeps. sway
/// tells processes and places by its own socket; elsewhere only names are known. Made and destroyed on the main thread.
class Compositor {
public:
    /// `swaySocket`: SWAYSOCK; empty, or of a sway that is gone: the compositor is another one.
    explicit Compositor(const QByteArray& swaySocket, const QByteArray& display = {});
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    [[nodiscard]] WaylandThread& thread() { return events; }
    [[nodiscard]] const WindowBook& book() const { return windows; }
    /// sway, to be asked on the thread; null elsewhere.
    [[nodiscard]] SwayIpc* sway() { return socket.get(); }

    /// On the thread. Looks where the front window is, as far as the compositor tells, then calls `done`.
    void locate(EventThread::Task done);
    /// Asks for the window to come to the front. Any thread.
    void bring(quint64 id);

    /// Hears of sway's events, on the thread; set by runAndWait().
    std::function<void(SwayIpc::Event, const QJsonObject&)> swayTold;

private:
    void toplevelsChanged();

    WaylandThread events;
    WindowBook windows;
    // On the thread:
    std::unique_ptr<Toplevels> toplevels;
    std::unique_ptr<SwayIpc> socket;
    std::unique_ptr<SwayWindows> swayWindows;
};

} // namespace ovalin
