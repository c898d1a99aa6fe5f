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
    selection.erase(handle);
    pressOutside.erase(handle);
    updateWants();
}

void InputReceivers::updateWants() {
    wantsReleases = !selection.empty();
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
        callAll(selection);
}

void InputReceivers::selectingKeyReleased() const {
    if (!keyboardOurs) // it may have become ours while this was under way
        callAll(selection);
}

} // namespace ovalin
