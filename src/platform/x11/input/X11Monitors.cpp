#include "X11Monitors.h"

#include "InputReceivers.h"
#include "RawInput.h"

namespace ovalin {

X11Monitors::X11Monitors(XThread& xThread, ActivityClock& clock, const SyntheticKeys& synthetic)
    : receivers(std::make_unique<InputReceivers>(clock))
    , raw(std::make_unique<RawInput>(xThread, clock, synthetic, *receivers))
    , thread(xThread) {
    thread.post([watch = raw.get()] { watch->start(); });
}

X11Monitors::~X11Monitors() {
    thread.runAndWait([this] { raw->stop(); });
}

SelectionHints::Handle X11Monitors::onMaybeChanged(std::function<void()> changed) {
    return receivers->add(receivers->selection, std::move(changed));
}

SelectionHints::Handle X11Monitors::onPressOutside(std::function<void(quint32 time)> seen) {
    return receivers->add(receivers->pressOutside, std::move(seen));
}

void X11Monitors::removeHint(Handle handle) { receivers->remove(handle); }

void X11Monitors::onKeyDown(std::function<bool(quint8, quint8)> isHotkey) {
    thread.post([watch = raw.get(), isHotkey = std::move(isHotkey)] { watch->isHotkey = isHotkey; });
}

void X11Monitors::setOwnWindows(std::function<bool(QPoint, quint32, quint32)> isOurs) {
    receivers->isOurs = std::move(isOurs);
    receivers->leftPressOutside = true;
    receivers->updateWants();
}

void X11Monitors::setKeyboardOurs(bool ours) {
    receivers->keyboardOurs = ours;
    thread.post([watch = raw.get(), ours] { watch->selectKeys(!ours); });
}

} // namespace ovalin
