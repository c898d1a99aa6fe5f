#include "RawInput.h"

#include "base/Log.h"

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 LEFT_BUTTON = 1;

bool isWheel(quint32 button) { return button >= 4 && button <= 7; }

} // namespace

bool RawInput::negotiate() {
    xcb_connection_t* c = thread.connection().get();
    const auto* extension = xcb_get_extension_data(c, &xcb_input_id);
    if (!extension || !extension->present)
        return false;
    const XReply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    // In XInput 2.0 raw events stop while some client has a grab, and the panel lives on one.
    if (!version || version->major_version < 2 || (version->major_version == 2 && version->minor_version < 2))
        return false;
    opcode = extension->major_opcode;
    return true;
}

void RawInput::start() {
    if (!negotiate()) {
        logOnce(u"no-xinput"_s, u"Ovalin: no XInput 2.2 — changes of the selection are not noticed"_s);
        return;
    }
    on(XCB_INPUT_RAW_KEY_PRESS, &RawInput::keyPressed);
    on(XCB_INPUT_RAW_KEY_RELEASE, &RawInput::keyReleased);
    on(XCB_INPUT_RAW_BUTTON_PRESS, &RawInput::buttonPressed);
    on(XCB_INPUT_RAW_BUTTON_RELEASE, &RawInput::buttonReleased);
    followKeyMap();
    followActiveWindow();
    selectKeys(!receivers.keyboardOurs);
    clock.setWatching(true);
}

void RawInput::stop() {
    for (const quint64 handler : handlers)
        thread.removeHandler(handler);
    handlers.clear();
    clock.setWatching(false);
    if (opcode != 0)
        select(0);
}

void RawInput::on(quint16 type, void (RawInput::*react)(const xcb_input_raw_button_press_event_t&)) {
    // Raw key and button events have one layout.
    handlers.push_back(thread.onGenericEvent(opcode, type, [this, react](const xcb_generic_event_t& event) {
        (this->*react)(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event));
    }));
}

void RawInput::select(quint32 mask) {
    struct {
        xcb_input_event_mask_t head;
        quint32 mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
    xcb_input_xi_select_events(thread.connection().get(), thread.connection().root(), 1, &selection.head);
}

void RawInput::selectKeys(bool on) {
    if (opcode == 0 || (on && keysSelected))
        return;
    constexpr quint32 BUTTONS = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE;
    constexpr quint32 KEYS = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    select(on ? BUTTONS | KEYS : BUTTONS);
    keysSelected = on;
    if (on) {
        resetKeys();
        return;
    }
    // A round trip: keys that were on their way are here now, and are handled, as unseen, before the next task.
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

void RawInput::resetKeys() {
    if (keyMapStale)
        readKeyMap();
    keys.reset(keysDown(thread.connection().get()));
}

// Some programs cause floods of changes: the map is read again when the next key comes.
void RawInput::followKeyMap() {
    KeyMap::selectChanges(thread.connection().get());
    handlers.push_back(
        thread.onEvent(KeyMap::eventType(thread.connection().get()), [this](const xcb_generic_event_t& event) {
            keyMapStale = keyMapStale || KeyMap::tellsOfChange(event.pad0);
        }));
}

void RawInput::readKeyMap() {
    keyMapStale = false;
    if (auto map = KeyMap::read(thread.connection().get()))
        keys.setMap(std::move(*map));
}

void RawInput::followActiveWindow() {
    XConnection& server = thread.connection();
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(server.get(), server.root(), XCB_CW_EVENT_MASK, &mask);
    windows.emplace(server.get());
    handlers.push_back(thread.onEvent(XCB_PROPERTY_NOTIFY, [this](const xcb_generic_event_t& event) {
        const auto& notify = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (notify.atom == windows->activeWindowAtom() && notify.window == windows->rootId())
            activeWindowIs(windows->active(), notify.time);
    }));
    activeWindow = workedIn = windows->active();
}

// What was selected before may be of another window of the application: PRIMARY does not tell.
void RawInput::activeWindowIs(quint32 window, quint32 time) {
    activeWindow = window;
    if (!window || window == workedIn)
        return;
    if (workedIn)
        clock.pressed(time);
    workedIn = window;
}

std::pair<QPoint, quint32> RawInput::placeOfPointer() {
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, thread.connection().root()), nullptr));
    // On no window at all it is the root's, which is not "nobody knows".
    return pointer ? std::pair{QPoint(pointer->root_x, pointer->root_y),
                               pointer->child ? pointer->child : thread.connection().root()}
                   : std::pair{QPoint(), quint32{XCB_WINDOW_NONE}};
}

void RawInput::keyPressed(const xcb_input_raw_button_press_event_t& event) {
    if (!keysSeen())
        return;
    if (keyMapStale)
        readKeyMap();
    // Our own keys lift and press modifiers, so the state follows them too.
    const auto key = static_cast<quint8>(event.detail);
    const KeyState::Press press = keys.press(key);
    const bool hotkey = isHotkey && isHotkey(key, keys.modifiersBeside(key));
    if (!hotkey && press != KeyState::Press::Nothing && !synthetic.ours(event.time)) {
        clock.pressed(event.time);
        if (press == KeyState::Press::Typing)
            clock.pressedIn(activeWindow, event.time);
    }
}

void RawInput::keyReleased(const xcb_input_raw_button_press_event_t& event) {
    if (!keysSeen())
        return;
    const auto key = keys.release(static_cast<quint8>(event.detail));
    if (key && key->selects() && receivers.wantsReleases && !synthetic.ours(event.time))
        receivers.toMain([tell = &receivers] { tell->selectingKeyReleased(); });
}

void RawInput::buttonPressed(const xcb_input_raw_button_press_event_t& event) {
    if (isWheel(event.detail))
        return;
    const auto place = placeOfPointer();
    clock.pressedIn(place.second, event.time);
    if (!receivers.wantsPresses) {
        clock.pressed(event.time);
        return;
    }
    clock.pressedPerhaps(event.time);
    receivers.toMain([tell = &receivers, left = event.detail == LEFT_BUTTON, time = event.time, place] {
        tell->buttonPressed(left, time, place.first, place.second);
    });
}

void RawInput::buttonReleased(const xcb_input_raw_button_press_event_t& event) {
    if (event.detail == LEFT_BUTTON && receivers.wantsReleases)
        receivers.toMain([tell = &receivers] { tell->leftReleased(); });
}

} // namespace ovalin
