#pragma once

#include <QtGlobal>

#include <atomic>

namespace ovalin {

/// Tells the event monitors which keys this program sends itself (XTEST), so that they count neither as the user's
/// input nor as a sign of a changed selection. Any thread; the sender and the monitors have connections of their own.
///
///     keys.begin(); … fake the keys … keys.end(connection.serverTime(deadline).value_or(0));
class SyntheticKeys {
public:
    void begin() noexcept { senders.fetch_add(1); }

    /// `serverTime`: X time asked for after the last key was sent, since the monitors may read the keys later than the
    /// sender is done with them; 0 when the server did not say.
    void end(quint32 serverTime) noexcept {
        if (serverTime != 0)
            lastEnd.store(serverTime);
        senders.fetch_sub(1);
    }

    /// Whether a key event of this X time counts as sent by us.
    [[nodiscard]] bool ours(quint32 eventTime) const noexcept {
        const quint32 end = lastEnd.load();
        // Unsigned distance: right across the wrap of X time, and an end of weeks ago claims nothing.
        return senders.load() > 0 || (end != 0 && end - eventTime < LONGEST_BURST);
    }

private:
    static constexpr quint32 LONGEST_BURST = 2000; // ms
    std::atomic<int> senders{0};
    std::atomic<quint32> lastEnd{0};
};

} // namespace ovalin
