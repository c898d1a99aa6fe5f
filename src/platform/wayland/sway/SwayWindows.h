#pragma once

#include "SwayIpc.h"
#include "platform/wayland/thread/WindowSource.h"

#include <QJsonObject>

#include <functional>
#include <vector>

namespace ovalin {

/// Keeps the book by what sway tells: which window is in front, whose it is, and where. On the thread of the socket,
/// which tells it of every event.
class SwayWindows final : public WindowSource {
public:
    /// `focused` is called when a window has got the keyboard, after the book tells so.
    SwayWindows(SwayIpc& sway, WindowBook& book, Focused focused);

    void told(SwayIpc::Event event, const QJsonObject& what);

    void locate(EventThread::Task done) override;
    void bring(quint64 id) override;
    void visible(std::function<void(Windows)> answer) override;

private:
    void setFront(const QJsonObject& container);

    SwayIpc& sway;
    WindowBook& book;
    const Focused focused;
    Deadline lastMoved; // a window came or went
};

/// A window of sway's tree. Pure.
[[nodiscard]] WaylandWindow swayWindow(const QJsonObject& container);

/// All windows that are on a screen now, in no order. Pure.
[[nodiscard]] std::vector<WaylandWindow> swayVisible(const QJsonObject& tree);

/// The window that has the keyboard, or gets it next. Pure; one with number 0 when there is none.
[[nodiscard]] WaylandWindow swayFront(QJsonObject tree);

} // namespace ovalin
