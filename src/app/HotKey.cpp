#include "HotKey.h"

#include "base/Log.h"

#include <algorithm>

namespace ovalin {

namespace {

constexpr int LAST_RETRY = 5;
constexpr double DEBOUNCE = 0.25;

} // namespace

HotKey::HotKey(HotKeys& theHotKeys, Dispatch& theDispatch)
    : hotKeys(theHotKeys)
    , dispatch(theDispatch) {}

void HotKey::registerHotKey(int attempt) {
    if (!hotkeyHandlerInstalled) {
        hotKeys.pressed = [this] {
            dispatch.toMain([guard = QPointer<HotKey>(this)] {
                if (guard)
                    guard->hotkeyFired();
            });
        };
        hotKeys.shouldReassert = [this] { reassertHotKey(); };
        hotkeyHandlerInstalled = true;
    }
    if (attempt == 0)
        ++series;
    const int status = hotKeys.registerHotKey();
    hotKeyRef = status == 0;
    if (hotKeyRef) {
        if (attempt > 0)
            logLine(QStringLiteral("Ovalin: hotkey registered after %1 retries").arg(attempt));
        return;
    }
    logLine(QStringLiteral("Ovalin: RegisterEventHotKey failed (%1), attempt %2").arg(status).arg(attempt));
    if (attempt > LAST_RETRY) {
        if (gaveUp)
            gaveUp(status);
        return;
    }
    const std::chrono::seconds delay(std::min(1 << attempt, 30));
    dispatch.after(delay, this, [this, attempt, begun = series] {
        if (begun == series)
            registerHotKey(attempt + 1);
    });
}

void HotKey::reassertHotKey() {
    if (hotKeyRef) {
        hotKeys.unregisterHotKey();
        hotKeyRef = false;
    }
    registerHotKey(0);
}

void HotKey::hotkeyFired() {
    const double now = dispatch.now();
    if (now - lastHotkeyFire < DEBOUNCE)
        return;
    lastHotkeyFire = now;
    if (fired)
        fired();
}

} // namespace ovalin
