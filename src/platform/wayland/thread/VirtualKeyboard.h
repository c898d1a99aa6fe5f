#pragma once

#include "KeySender.h"
#include "WaylandThread.h"

namespace ovalin {

/// A keyboard of our own with its own map (virtual-keyboard): whatever the user's layout is, and whatever they hold,
/// the application gets these keys.
class VirtualKeyboard final : public KeySender {
public:
    explicit VirtualKeyboard(WaylandThread& theThread)
        : thread(theThread) {}

    bool send(const std::vector<WaylandChord>& chords, EventThread::Task done) override;

private:
    WaylandThread& thread;
};

} // namespace ovalin
