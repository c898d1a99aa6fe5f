#include "HotKey.h"

#include "base/Log.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int LAST_RETRY = 5;
constexpr double DEBOUNCE = 0.25; // seconds
constexpr quint32 DEBOUNCE_MS = 250;

} // namespace

HotKey::HotKey(HotKeys& theHotKeys, Dispatch& theDispatch)
    : hotKeys(theHotKeys)
    , dispatch(theDispatch) {}

void HotKey::registerHotKey(int attempt) {
    if (!hotkeyHandlerInstalled) {
        hotKeys.pressed = [this](quint32 time) {
            dispatch.toMain([guard = QPointer<HotKey>(this), time] {
                if (!guard)
                    return;
                guard->hotkeyFired(time);
                guard->hotKeys.pressHandled();
            });
        };
        hotKeys.shouldReassert = [this] { reassertHotKey(); };
        hotkeyHandlerInstalled = true;
    }
    if (attempt == 0)
        ++series;
    state = hotKeys.registerHotKey();
    hotKeyRef = state == HotKeyState::Registered;
    if (hotKeyRef) {
        if (attempt > 0)
            logLine(u"Ovalin: hotkey registered after %1 retries"_s.arg(attempt));
        if (succeeded)
            succeeded();
        return;
    }
    const bool mayBecomeOurs = state != HotKeyState::ByCompositor;
    if (mayBecomeOurs)
        logLine(u"Ovalin: RegisterEventHotKey failed (%1), attempt %2"_s.arg(static_cast<int>(state)).arg(attempt));
    if (failed)
        failed(state);
    if (attempt > LAST_RETRY || !mayBecomeOurs)
        return;
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

void HotKey::passedOn(bool waiting) {
    const double now = dispatch.now();
    if (waiting || now - lastRepeat < DEBOUNCE) {
        lastRepeat = now;
        return;
    }
    hotkeyFired();
}

void HotKey::hotkeyFired(std::optional<quint32> pressTime) {
    const double now = dispatch.now();
    const bool twice = pressTime && lastPressTime ? *pressTime - *lastPressTime < DEBOUNCE_MS // right across a wrap
                                                  : now - lastHotkeyFire < DEBOUNCE;
    if (twice)
        return;
    lastHotkeyFire = now;
    lastPressTime = pressTime;
    if (fired)
        fired();
}

} // namespace ovalin
