#include "InputReceivers.h"

namespace ovalin {

namespace {

/// Calls every function of a map that its functions may change.
template <class Map, class... Arguments>
void callAll(const Map& functions, const Arguments&... arguments) {
    for (const auto& [handle, function] : Map(functions))
        function(arguments...);
}

} // namespace

void InputReceivers::remove(Handle handle) {
    leftUp.erase(handle);
    keyUp.erase(handle);
    pressOutside.erase(handle);
    updateWants();
}

void InputReceivers::updateWants() {
    wantsLeftUp = !leftUp.empty();
    wantsKeyUp = !keyUp.empty();
    wantsPresses = isOurs || !pressOutside.empty();
}

void InputReceivers::buttonPressed(bool left, quint32 time, QPoint position, quint32 window) {
    const bool outside = !isOurs || !isOurs(position, window, time);
    clock.decide(time, outside);
    if (left)
        leftPressOutside = outside;
    if (outside)
        callAll(pressOutside, time);
}

// A drag belongs to the window it began in, wherever it ends.
void InputReceivers::leftReleased() const {
    if (leftPressOutside)
        callAll(leftUp);
}

void InputReceivers::keyReleased(const EventMonitors::KeyUp& key) const {
    if (!keyboardOurs) // it may have become ours while this was under way
        callAll(keyUp, key);
}

} // namespace ovalin
