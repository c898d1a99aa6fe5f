#pragma once

#include "platform/wayland/sway/SwayIpc.h"
#include "platform/wayland/sway/SwayWindows.h"
#include "platform/wayland/thread/KeySender.h"
#include "platform/wayland/thread/Toplevels.h"
#include "platform/wayland/thread/WaylandThread.h"
#include "platform/wayland/thread/WindowBook.h"

#include <functional>
#include <memory>

namespace ovalin {

/// The compositor as all services share it: the thread, what runs on it, and the book of windows that it keeps. sway
/// tells processes and places by its own socket, KWin by its own protocol; elsewhere only names are known. Made and
/// destroyed on the main thread.
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
    /// What its users call it; empty: one that is not known.
    [[nodiscard]] QString name() const;

    // Any thread; they never change:

    /// All windows are told, with their processes.
    [[nodiscard]] bool tellsAll() const { return source != nullptr; }
    /// The one in front is told, at least by its name.
    [[nodiscard]] bool tellsFront() const { return source || events.globals().toplevels; }
    [[nodiscard]] bool sendsKeys() const { return keys != nullptr; }
    /// The keyboard stays with the window that got it last: it does not come back by itself from a panel that lends it,
    /// and a window that comes takes it from a panel.
    [[nodiscard]] bool keepsFocus() const { return focusStays; }

    /// On the thread. Looks where the front window is, as far as the compositor tells, then calls `done`.
    void locate(EventThread::Task done);
    /// On the thread. The windows on the screens now; elsewhere the one in front alone.
    void visible(std::function<void(std::vector<WaylandWindow>)> answer);
    /// On the thread. As KeySender::send(); false where nobody sends keys.
    bool send(const std::vector<WaylandChord>& chords, EventThread::Task done);
    /// Asks for the window to come to the front. Any thread.
    void bring(quint64 id);

    /// Hears of sway's events, on the thread; set by runAndWait().
    std::function<void(SwayIpc::Event, const QJsonObject&)> swayTold;
    /// A window has got the keyboard. As that.
    std::function<void(WindowSource::Change)> focusMoved;

private:
    void connectSway(const QByteArray& path);
    void connectPlasma();
    void toplevelsChanged();
    void focused(WindowSource::Change change) const;

    WaylandThread events;
    WindowBook windows;
    bool focusStays = false;
    // On the thread:
    std::unique_ptr<Toplevels> toplevels;
    std::unique_ptr<SwayIpc> socket;
    SwayWindows* swayWindows = nullptr;
    std::unique_ptr<WindowSource> source;
    std::unique_ptr<KeySender> keys;
};

} // namespace ovalin
