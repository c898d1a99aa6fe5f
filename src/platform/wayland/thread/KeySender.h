#pragma once

#include "base/EventThread.h"
#include "platform/PasteWay.h"

#include <vector>

namespace ovalin {

/// A key by its number in the kernel (linux/input-event-codes.h), as on a US keyboard, and what is held beside it.
struct WaylandChord {
    enum Modifier : quint8 { Control = 1, Shift = 2 };
    quint32 key = 0;
    quint8 modifiers = 0;
};

/// The keys of a paste. Pure.
[[nodiscard]] std::vector<WaylandChord> pasteChords(const PasteWay& way);

/// Types into what has the keyboard. Made, used and destroyed on the WaylandThread.
class KeySender {
public:
    virtual ~KeySender() = default;

    /// Sends the chords, in this order; `done` is called once the compositor has worked them off. False, and nothing
    /// is sent, where other keys than these would come.
    virtual bool send(const std::vector<WaylandChord>& chords, EventThread::Task done) = 0;
};

} // namespace ovalin
