#pragma once

#include "WaylandThread.h"

#include <vector>

namespace ovalin {

/// A key by its number in the kernel (linux/input-event-codes.h), and what is held beside it.
struct WaylandChord {
    enum Modifier : quint8 { Control = 1, Shift = 2 };
    quint32 key = 0;
    quint8 modifiers = 0;
};

/// Sends the chords, in this order, into what has the keyboard, by a keyboard of our own with its own map: whatever the
/// user's layout is, and whatever they hold, the application gets these keys. On the WaylandThread; `done` is called
/// there once the compositor has worked them off. False where no such keyboard is to be had.
bool sendChords(WaylandThread& thread, const std::vector<WaylandChord>& chords, EventThread::Task done);

} // namespace ovalin
