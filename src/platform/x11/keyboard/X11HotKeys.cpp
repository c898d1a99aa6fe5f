#include "X11HotKeys.h"

#include "base/Log.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/XReply.h"
#include "platform/x11/XThread.h"

#include <QCoreApplication>

#include <X11/keysym.h>
#include <xcb/xcb.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds LOOK_AFTER{200};
constexpr std::chrono::seconds LONGEST_STOP{1};

} // namespace

X11HotKeys::X11HotKeys(Dispatch& theDispatch, KeyChord theChord)
    : dispatch(theDispatch)
    , chord(theChord)
    , connection(qtConnection())
    , presses(std::make_shared<Presses>(connection)) {
    if (!connection)
        return;
    reader.emplace(connection);
    xkbEvent = KeyMap::eventType(connection);
    addWindowEvents(connection, reader->rootId(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    watchWindowManager();
    qApp->installNativeEventFilter(this);
}

X11HotKeys::~X11HotKeys() {
    if (!qApp || !connection)
        return;
    qApp->removeNativeEventFilter(this);
    unregisterHotKey();
}

HotKeyBinding X11HotKeys::currentBinding() const {
    const auto map = KeyMap::read(connection);
    if (!map)
        return {};
    quint8 alt = map->modifierMask(XK_Alt_L), super = map->modifierMask(XK_Super_L);
    if (alt == 0 || alt & XCB_MOD_MASK_1)
        alt = XCB_MOD_MASK_1;
    if (super & XCB_MOD_MASK_4)
        super = XCB_MOD_MASK_4;
    HotKeyBinding binding;
    binding.key = map->plainKey(chord.symbol);
    const std::pair<quint8, quint8> masks[] = {{KeyChord::Control, XCB_MOD_MASK_CONTROL},
                                               {KeyChord::Alt, alt},
                                               {KeyChord::Shift, XCB_MOD_MASK_SHIFT},
                                               {KeyChord::Super, super}};
    for (const auto& [modifier, mask] : masks) {
        if (!(chord.modifiers & modifier))
            continue;
        if (mask == 0) // another chord would be taken
            return {};
        binding.modifiers |= mask;
    }
    binding.locks = static_cast<quint16>(map->lockMask() & ~binding.modifiers);
    return binding;
}

HotKeyState X11HotKeys::registerHotKey() {
    if (!connection)
        return HotKeyState::NoDesktop;
    unregisterHotKey();
    seen = currentBinding();
    presses->binding = seen;
    if (!seen.key)
        return HotKeyState::NoKey;
    std::vector<std::pair<quint16, xcb_void_cookie_t>> requests;
    for (unsigned locks = seen.locks;; locks = (locks - 1) & seen.locks) { // every subset of the lock modifiers
        const auto state = static_cast<quint16>(seen.modifiers | locks);
        requests.emplace_back(state, xcb_grab_key_checked(connection, 1, reader->rootId(), state, seen.key,
                                                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC));
        if (locks == 0)
            break;
    }
    bool taken = false;
    for (const auto& [state, cookie] : requests) {
        const XReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
        if (error)
            taken = true;
        else
            grabbed.push_back(state);
    }
    if (taken) {
        unregisterHotKey();
        presses->binding = HotKeyBinding{}; // its presses are another program's
    }
    return taken ? HotKeyState::Taken : HotKeyState::Registered;
}

void X11HotKeys::unregisterHotKey() {
    for (const quint16 state : grabbed)
        xcb_ungrab_key(connection, seen.key, reader->rootId(), state);
    if (!grabbed.empty())
        pressHandled();
    grabbed.clear();
    down = false;
}

void X11HotKeys::Presses::goOn() {
    ++handled;
    // Does nothing to a keyboard that our hold has taken, or that was not stopped by us.
    xcb_allow_events(connection, XCB_ALLOW_ASYNC_KEYBOARD, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

void X11HotKeys::pressHandled() {
    if (connection)
        presses->goOn();
}

std::function<bool(quint8 key, quint8 modifiers)> X11HotKeys::watchdog(XThread& thread) const {
    return [&thread, watched = presses](quint8 key, quint8 modifiers) {
        const HotKeyBinding binding = watched->binding;
        if (key == 0 || key != binding.key || !binding.fits(modifiers))
            return false;
        thread.at(deadlineIn(LONGEST_STOP), [watched, before = watched->handled.load()] {
            if (watched->handled != before)
                return;
            logLine(u"Ovalin: busy for a second after the hotkey — the keyboard is let go"_s);
            watched->goOn();
        });
        return true;
    };
}

bool X11HotKeys::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type) { // events that another client sent have bit 7 set and are not meant
    case XCB_KEY_PRESS:
        return keyPressed(*static_cast<const xcb_key_press_event_t*>(message));
    case XCB_KEY_RELEASE:
        return keyReleased(*static_cast<const xcb_key_release_event_t*>(message));
    case XCB_MAPPING_NOTIFY:
        lookSoon();
        return false;
    case XCB_PROPERTY_NOTIFY: {
        const auto* property = static_cast<const xcb_property_notify_event_t*>(message);
        if (property->window == reader->rootId() && property->atom == reader->checkAtom())
            lookSoon();
        return false;
    }
    case XCB_DESTROY_NOTIFY:
        if (windowManager && static_cast<const xcb_destroy_notify_event_t*>(message)->window == windowManager)
            lookSoon();
        return false;
    default:
        if (xkbEvent && event->response_type == xkbEvent && KeyMap::tellsOfChange(event->pad0))
            lookSoon();
        return false;
    }
}

bool X11HotKeys::keyPressed(const xcb_key_press_event_t& event) {
    if (grabbed.empty() || event.detail != seen.key) {
        if (event.event == reader->rootId()) // a grab of ours that is no more
            pressHandled();
        return false;
    }
    // A held key repeats as release and press with one and the same time, whatever becomes of Alt meanwhile.
    if (releasedAt != 0 && event.time == releasedAt) {
        down = true;
        return true;
    }
    if (!seen.fits(event.state))
        return false;
    down = true;
    pressedAt = event.time;
    if (pressed)
        pressed(event.time);
    else
        pressHandled();
    return true;
}

bool X11HotKeys::pressedSince(quint32 time) const {
    return pressedAt && static_cast<qint32>(*pressedAt - time) >= 0; // it wraps: signed distance
}

bool X11HotKeys::keyReleased(const xcb_key_press_event_t& event) {
    if (!down || event.detail != seen.key)
        return false;
    down = false;
    releasedAt = event.time;
    return true;
}

void X11HotKeys::watchWindowManager() {
    windowManager = reader->windowManager();
    // One that crashes takes its window with it, but leaves the property of the root.
    if (windowManager)
        addWindowEvents(connection, windowManager, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

void X11HotKeys::lookSoon() {
    if (lookPending)
        return;
    lookPending = true;
    dispatch.after(LOOK_AFTER, &context, [this] { look(); });
}

void X11HotKeys::look() {
    lookPending = false;
    const quint32 managerBefore = windowManager;
    watchWindowManager();
    const HotKeyBinding now = currentBinding();
    if (now == seen && windowManager == managerBefore)
        return;
    if (grabbed.empty())
        seen = now;
    if (shouldReassert)
        shouldReassert();
}

} // namespace ovalin
