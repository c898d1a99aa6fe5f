#include "X11KeyboardHold.h"

#include "KeyMap.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/RootWindow.h"
#include "platform/x11/XReply.h"

#include <QCoreApplication>
#include <QRect>
#include <QWindow>
#include <qpa/qwindowsysteminterface.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include <xcb/screensaver.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds RETRY_EVERY{5};
constexpr double RETRY_FOR = 0.25; // seconds
constexpr double LONGEST_RETRY = 5;
constexpr double IDLE_LIMIT = 300; // seconds without a key

quint32 focusNow() {
    const XReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(qtConnection(), xcb_get_input_focus(qtConnection()), nullptr));
    return reply ? reply->focus : quint32{XCB_INPUT_FOCUS_POINTER_ROOT};
}

/// Clients have bits of their own above the mask. So the overlay that a compositing manager draws on (Composite
/// extension) is known at once, before it lets input through.
bool isServersOwn(xcb_connection_t* connection, quint32 window) {
    return (window & ~xcb_get_setup(connection)->resource_id_mask) == 0;
}

QRect frameOf(const xcb_get_geometry_reply_t& geometry) {
    return {geometry.x, geometry.y, geometry.width, geometry.height};
}

} // namespace

X11KeyboardHold::X11KeyboardHold(Dispatch& theDispatch)
    : dispatch(theDispatch)
    , grab(qtConnection()) {
    if (!qtConnection())
        return;
    qApp->installNativeEventFilter(this);
    watchScreenSaver();
}

X11KeyboardHold::~X11KeyboardHold() {
    letGo();
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

void X11KeyboardHold::watchScreenSaver() {
    xcb_connection_t* connection = qtConnection();
    const auto* extension = xcb_get_extension_data(connection, &xcb_screensaver_id);
    if (!extension || !extension->present)
        return;
    saverEvent = static_cast<quint8>(extension->first_event + XCB_SCREENSAVER_NOTIFY);
    xcb_screensaver_select_input(connection, rootWindow(connection), XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
    xcb_flush(connection);
}

// A locker may start with the saver. One that did has the keyboard when it ends; else the panel is typed into again.
void X11KeyboardHold::screenSaver(bool on) {
    if (on && wanted) {
        lend();
    } else if (!on && lent) {
        wanted = std::exchange(lent, 0);
        cover = 0;
        begin(Refusal::Silent);
    }
}

void X11KeyboardHold::lend() {
    const quint32 window = wanted;
    letGo();
    lent = window;
    watchForCovers();
}

void X11KeyboardHold::watchForCovers() {
    xcb_connection_t* connection = qtConnection();
    const bool needed = wanted || lent;
    if (!connection || std::exchange(watching, needed) == needed)
        return;
    (needed ? addWindowEvents : dropWindowEvents)(connection, rootWindow(connection),
                                                  XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
}

// Some lockers show their window before they try to get the keyboard: what is typed then is a password, and not for us.
void X11KeyboardHold::windowMapped(quint32 window) {
    xcb_connection_t* connection = qtConnection();
    if (isServersOwn(connection, window))
        return;
    const auto askOther = xcb_get_geometry(connection, window), askOurs = xcb_get_geometry(connection, wanted);
    const XReply<xcb_get_geometry_reply_t> other(xcb_get_geometry_reply(connection, askOther, nullptr));
    const XReply<xcb_get_geometry_reply_t> ours(xcb_get_geometry_reply(connection, askOurs, nullptr));
    if (!other || !ours || !frameOf(*other).contains(frameOf(*ours)) || window == wanted)
        return;
    lend();
    cover = window;
}

// A client's window right on the root: no window manager has put it below ours.
void X11KeyboardHold::stayAbove() {
    const quint32 above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(qtConnection(), wanted, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_flush(qtConnection());
}

void X11KeyboardHold::take(QWindow& window) {
    wanted = static_cast<quint32>(window.winId());
    lent = 0;
    restartIdleClock();
    begin(Refusal::Tell);
    dispatch.after(std::chrono::milliseconds(0), &context, [this] { watchForCovers(); }); // not in the opening's way
}

void X11KeyboardHold::retake() {
    if (wanted && !attempting) // a running series would lose its say
        begin(Refusal::Silent);
}

void X11KeyboardHold::begin(Refusal refusal) {
    triedSince = dispatch.now();
    triedUntil = triedSince + RETRY_FOR;
    // Before it is: the keys that waited for the panel are not to be taken for the application's.
    setTold(true);
    attempt(++currentSeries, refusal);
}

void X11KeyboardHold::attempt(quint64 series, Refusal refusal) {
    if (series != currentSeries || !wanted)
        return;
    attempting = !grab.grab(wanted);
    setTold(held());
    if (!attempting)
        return;
    const double now = dispatch.now();
    if (keysDown(qtConnection()).any()) // it may be the key of a shortcut that a program waits for to go up
        triedUntil = std::min(now + RETRY_FOR, triedSince + LONGEST_RETRY);
    if (now < triedUntil) {
        dispatch.after(RETRY_EVERY, &context, [this, series, refusal] { attempt(series, refusal); });
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

// The server takes such a key for up from then on, whatever the finger does: it neither repeats it nor tells anybody of
// its release. Modifiers stay as they are, since what is typed next is typed with them.
void X11KeyboardHold::endHeldKeys() {
    xcb_connection_t* connection = qtConnection();
    const auto pressed = std::exchange(pressedKeys, {});
    if (pressed.none() || !connection)
        return;
    const auto* xtest = xcb_get_extension_data(connection, &xcb_test_id);
    if (!xtest || !xtest->present)
        return;
    const auto keys = pressed & keysDown(connection);
    const auto map = keys.any() ? KeyMap::read(connection) : std::nullopt;
    for (size_t code = keys._Find_first(); map && code < keys.size(); code = keys._Find_next(code)) {
        const auto key = static_cast<KeyMap::Key>(code);
        if (!map->modifiersOf(key))
            xcb_test_fake_input(connection, XCB_KEY_RELEASE, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    xcb_flush(connection);
}

void X11KeyboardHold::letGo() {
    endHeldKeys();
    giveFocusBack();
    wanted = 0;
    lent = 0;
    cover = 0;
    attempting = false;
    ++currentSeries;
    grab.release();
    watchForCovers();
    setTold(held());
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

void X11KeyboardHold::setTold(bool ours) {
    if (std::exchange(told, ours) != ours && heldChanged)
        heldChanged(ours);
}

bool X11KeyboardHold::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (saverEvent && event->response_type == saverEvent)
        screenSaver(reinterpret_cast<const xcb_screensaver_notify_event_t*>(event)->state != XCB_SCREENSAVER_STATE_OFF);
    if (cover && event->response_type == XCB_UNMAP_NOTIFY &&
        reinterpret_cast<const xcb_unmap_notify_event_t*>(event)->window == cover)
        screenSaver(false);
    // Qt queues that the panel has the focus, and asks its input context about a key at once: a dead key read together
    // with the grab's focus event would meet no field to compose for, and its accent be lost.
    if (event->response_type == XCB_KEY_PRESS)
        QWindowSystemInterface::flushWindowSystemEvents();
    if (!wanted)
        return false;
    if (event->response_type == XCB_MAP_NOTIFY) {
        const auto* mapped = reinterpret_cast<const xcb_map_notify_event_t*>(event);
        if (mapped->event == rootWindow(qtConnection()))
            mapped->override_redirect ? windowMapped(mapped->window) : stayAbove();
        if (!wanted)
            return false;
    }
    if (event->response_type == XCB_KEY_PRESS) {
        pressedKeys.set(static_cast<const xcb_key_press_event_t*>(message)->detail);
        lastKey = dispatch.now();
    }
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
