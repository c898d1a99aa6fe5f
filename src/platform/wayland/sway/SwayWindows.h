#pragma once

#include "SwayIpc.h"
#include "platform/wayland/thread/WindowBook.h"

#include <QJsonObject>

#include <functional>
#include <vector>

namespace ovalin {

/// Keeps the book by what sway tells: which window is in front, whose it is, and where. On the thread of the socket,
/// which tells it of every event.
class SwayWindows {
public:
    SwayWindows(SwayIpc& sway, WindowBook& book);

    void told(SwayIpc::Event event, const QJsonObject& what);

    /// Looks where the front window is now; `done` is called once that is in the book.
    void locate(std::function<void()> done = {});

    /// Brings it to the front, from another workspace too.
    void bring(quint64 id);

private:
    void setFront(const QJsonObject& container);

    SwayIpc& sway;
    WindowBook& book;
};

/// A window of sway's tree. Pure.
[[nodiscard]] WaylandWindow swayWindow(const QJsonObject& container);

/// All windows that are on a screen now, in no order. Pure.
[[nodiscard]] std::vector<WaylandWindow> swayVisible(const QJsonObject& tree);

/// The window that has the keyboard, or gets it next. Pure; one with number 0 when there is none.
[[nodiscard]] WaylandWindow swayFront(QJsonObject tree);

} // namespace ovalin
