#pragma once

#include <QtGlobal>

#include <mutex>
#include <optional>
#include <vector>

namespace ovalin {

/// When the user last pressed a key or button that can change a selection. Keeps that X time and nothing else. Any
/// thread.
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

    void pressed(quint32 time) {
        const std::lock_guard lock(mutex);
        lastPress = time;
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

    mutable std::mutex mutex;
    bool watching = false;
    std::optional<quint32> lastPress;
    std::vector<quint32> undecided; // in the order pressed
};

} // namespace ovalin
