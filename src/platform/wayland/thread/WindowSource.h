#pragma once

#include "WindowBook.h"
#include "base/EventThread.h"

#include <chrono>
#include <functional>
#include <vector>

namespace ovalin {

/// Who tells of all windows with their processes and places, in the compositor's own way, and keeps the book by it.
/// Made, used and destroyed on the WaylandThread.
class WindowSource {
public:
    using Windows = std::vector<WaylandWindow>;
    /// How a window came to the keyboard.
    enum class Change {
        ByUser,
        ByItself, ///< it has just come, or lay below one that went
    };
    /// Is told on the thread.
    using Focused = std::function<void(Change)>;
    /// A window that comes or goes moves the keyboard as soon as this.
    static constexpr std::chrono::milliseconds AT_ONCE{500};

    virtual ~WindowSource() = default;

    /// Looks where the front window is now, then calls `done`.
    virtual void locate(EventThread::Task done) = 0;
    /// Brings it to the front, from another workspace too.
    virtual void bring(quint64 id) = 0;
    /// The windows that are on a screen now.
    virtual void visible(std::function<void(Windows)> answer) = 0;
};

} // namespace ovalin
