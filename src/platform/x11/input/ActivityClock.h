#pragma once

#include <QtGlobal>

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace ovalin {

/// When the user last pressed a key or button that can change a selection, at all and in which window. Keeps these X
/// times and nothing else. Any thread.
class ActivityClock {
public:
    struct Reading {
        bool watching = false;            ///< false: input is not seen, so nothing can be said
        std::optional<quint32> lastPress; ///< none since the watch began
    };

    [[nodiscard]] Reading read() const {
        const std::lock_guard lock(mutex);
        return {watching, undecided.empty() ? lastPress : later(undecided.back())};
    }

    void setWatching(bool on) {
        const std::lock_guard lock(mutex);
        watching = on;
    }

    /// The same for the presses that went into one of these windows, or nobody knows where.
    [[nodiscard]] Reading readIn(const std::vector<quint32>& windows) const {
        const std::lock_guard lock(mutex);
        std::optional<quint32> last = forgotten;
        for (const auto& [window, time] : inWindows) {
            if (window == 0 || std::ranges::find(windows, window) != windows.end())
                last = time; // the latest comes last
        }
        return {watching, last};
    }

    void pressed(quint32 time) {
        const std::lock_guard lock(mutex);
        lastPress = time;
    }
    /// That press went into the window and may take a highlight away there; 0: nobody knows which window.
    void pressedIn(quint32 window, quint32 time) {
        const std::lock_guard lock(mutex);
        std::erase_if(inWindows, [window](const auto& entry) { return entry.first == window; });
        inWindows.emplace_back(window, time);
        if (inWindows.size() > MOST_WINDOWS) {
            forgotten = inWindows.front().second;
            inWindows.erase(inWindows.begin());
        }
    }

    /// A press that counts until decide() says that it went into a window of ours.
    void pressedPerhaps(quint32 time) {
        const std::lock_guard lock(mutex);
        undecided.push_back(time);
    }
    void decide(quint32 time, bool counts) {
        const std::lock_guard lock(mutex);
        std::erase(undecided, time);
        if (counts)
            lastPress = later(time);
    }

private:
    /// The later of `time` and the last press: a key may have been counted meanwhile. X time wraps: signed distance.
    [[nodiscard]] quint32 later(quint32 time) const {
        return lastPress && static_cast<qint32>(*lastPress - time) > 0 ? *lastPress : time;
    }

    static constexpr size_t MOST_WINDOWS = 32;

    mutable std::mutex mutex;
    bool watching = false;
    std::optional<quint32> lastPress;
    std::vector<quint32> undecided;                     // in the order pressed
    std::vector<std::pair<quint32, quint32>> inWindows; // window and last press, in the order pressed
    std::optional<quint32> forgotten;                   // the last press of a window that is not kept any more
};

/// Whether PRIMARY is what the user sees selected: set (X time) at or after the last press that could have changed it.
/// 0 as time is GTK's, which gives PRIMARY up when nothing is selected any more. Pure.
[[nodiscard]] inline bool isPrimaryFresh(std::optional<quint32> setAt, const ActivityClock::Reading& activity) {
    if (!activity.watching || !setAt)
        return false;
    if (*setAt == 0 || !activity.lastPress)
        return true;
    // X time wraps after 49 days: signed distance.
    return static_cast<qint32>(*setAt - *activity.lastPress) >= 0;
}

} // namespace ovalin
