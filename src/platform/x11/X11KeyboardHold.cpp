#include "X11KeyboardHold.h"

#include "QtConnection.h"
#include "XReply.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <utility>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds RETRY_EVERY{5};
constexpr double RETRY_FOR = 0.25; // seconds
constexpr double IDLE_LIMIT = 300; // seconds without a key

quint32 focusNow() {
    const XReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(qtConnection(), xcb_get_input_focus(qtConnection()), nullptr));
    return reply ? reply->focus : quint32{XCB_INPUT_FOCUS_POINTER_ROOT};
}

} // namespace

X11KeyboardHold::X11KeyboardHold(Dispatch& theDispatch)
    : dispatch(theDispatch)
    , grab(qtConnection()) {
    if (qtConnection())
        qApp->installNativeEventFilter(this);
}

X11KeyboardHold::~X11KeyboardHold() {
    letGo();
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

void X11KeyboardHold::take(quint32 window) {
    wanted = window;
    restartIdleClock();
    attempt(++currentSeries, dispatch.now() + RETRY_FOR, Refusal::Tell);
}

void X11KeyboardHold::retake() {
    if (wanted && !attempting) // a running series would lose its say
        attempt(++currentSeries, dispatch.now() + RETRY_FOR, Refusal::Silent);
}

void X11KeyboardHold::attempt(quint64 series, double deadline, Refusal refusal) {
    if (series != currentSeries || !wanted)
        return;
    attempting = !grab.grab(wanted);
    if (!attempting) {
        tell();
        return;
    }
    if (dispatch.now() < deadline) {
        dispatch.after(RETRY_EVERY, &context,
                       [this, series, deadline, refusal] { attempt(series, deadline, refusal); });
        return;
    }
    const quint32 window = wanted;
    letGo();
    if (refusal == Refusal::Tell) {
        takeFocus(window);
        if (refused)
            refused();
    }
}

void X11KeyboardHold::takeFocus(quint32 window) {
    focusBefore = focusNow();
    focusTakenBy = window;
    xcb_set_input_focus(qtConnection(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    xcb_flush(qtConnection());
}

void X11KeyboardHold::giveFocusBack() {
    const quint32 taken = std::exchange(focusTakenBy, 0);
    // Whoever has taken it from us since keeps it.
    if (!taken || focusNow() != taken)
        return;
    xcb_set_input_focus(qtConnection(), XCB_INPUT_FOCUS_PARENT, focusBefore, XCB_CURRENT_TIME);
    xcb_flush(qtConnection());
}

void X11KeyboardHold::letGo() {
    giveFocusBack();
    wanted = 0;
    attempting = false;
    ++currentSeries;
    grab.release();
    tell();
}

bool X11KeyboardHold::held() const { return grab.held(); }

void X11KeyboardHold::pressOutside() {
    if (wanted)
        letGo();
}

void X11KeyboardHold::restartIdleClock() {
    lastKey = dispatch.now();
    if (!idleTimerRuns)
        letGoAfter(IDLE_LIMIT);
}

// One timer, whatever the number of openings: it looks at the last key when it ends.
void X11KeyboardHold::letGoAfter(double seconds) {
    idleTimerRuns = true;
    dispatch.after(std::chrono::milliseconds(static_cast<qint64>(std::ceil(seconds * 1000))), &context, [this] {
        idleTimerRuns = false;
        if (!wanted)
            return;
        const double left = lastKey + IDLE_LIMIT - dispatch.now();
        if (left > 0)
            letGoAfter(left);
        else
            letGo();
    });
}

void X11KeyboardHold::tell() {
    if (told == held())
        return;
    told = !told;
    if (heldChanged)
        heldChanged(told);
}

bool X11KeyboardHold::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    if (!wanted)
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (event->response_type == XCB_KEY_PRESS)
        lastKey = dispatch.now();
    // Any grab of this client that ends takes ours with it: there is only one. The gap of a copy ends up here as well,
    // and taking what we have already is harmless.
    const bool ungrabbed = event->response_type == XCB_FOCUS_OUT &&
                           static_cast<const xcb_focus_out_event_t*>(message)->mode == XCB_NOTIFY_MODE_UNGRAB;
    if (ungrabbed && !retakePending) {
        retakePending = true;
        dispatch.after(std::chrono::milliseconds(0), &context, [this] {
            retakePending = false;
            retake();
        });
    }
    return false;
}

} // namespace ovalin
