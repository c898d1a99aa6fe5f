#include "X11Monitors.h"

#include "ActivityClock.h"
#include "KeyState.h"
#include "SyntheticKeys.h"
#include "base/Log.h"
#include "platform/x11/XThread.h"

#include <QObject>

#include <atomic>
#include <map>

#include <xcb/xinput.h>

namespace ovalin {

namespace {

constexpr quint32 LEFT_BUTTON = 1;

bool isWheel(quint32 button) { return button >= 4 && button <= 7; }

/// Calls every function of a map that its functions may change.
template <class Map, class... Arguments>
void callAll(const Map& functions, const Arguments&... arguments) {
    for (const auto& [handle, function] : Map(functions))
        function(arguments...);
}

} // namespace

/// The main thread's side; the atomics tell the X thread what is worth a message.
struct X11Monitors::Shared {
    explicit Shared(ActivityClock& clockToSettle)
        : clock(clockToSettle) {}

    QObject receiver;
    ActivityClock& clock;
    Handle lastHandle = 0;
    std::map<Handle, std::function<void()>> leftUp;
    std::map<Handle, std::function<void(const KeyUp&)>> keyUp;
    std::map<Handle, std::function<void(QPoint)>> pressOutside;
    std::function<bool(QPoint, quint32, quint32)> isOurs;
    bool leftPressOutside = true;

    std::atomic<bool> keyboardOurs{false};
    std::atomic<bool> wantsLeftUp{false};
    std::atomic<bool> wantsKeyUp{false};
    std::atomic<bool> wantsPresses{false};

    void toMain(std::function<void()> work) {
        QMetaObject::invokeMethod(&receiver, std::move(work), Qt::QueuedConnection);
    }

    void updateWants() {
        wantsLeftUp = !leftUp.empty();
        wantsKeyUp = !keyUp.empty();
        wantsPresses = isOurs || !pressOutside.empty();
    }

    void buttonPressed(quint32 button, quint32 time, QPoint position, quint32 window) {
        const bool outside = !isOurs || !isOurs(position, window, time);
        clock.decide(time, outside);
        if (button == LEFT_BUTTON)
            leftPressOutside = outside;
        if (outside)
            callAll(pressOutside, position);
    }

    // A drag belongs to the window it began in, wherever it ends.
    void leftReleased() const {
        if (leftPressOutside)
            callAll(leftUp);
    }

    void keyReleased(const KeyUp& key) const {
        if (!keyboardOurs) // it may have become ours while this was under way
            callAll(keyUp, key);
    }
};

/// The X thread's side.
class X11Monitors::Watch {
public:
    Watch(XThread& xThread, ActivityClock& activity, const SyntheticKeys& syntheticKeys, Shared& mainSide)
        : thread(xThread)
        , clock(activity)
        , synthetic(syntheticKeys)
        , shared(mainSide) {}

    void start();
    void stop();
    void selectKeys(bool on);

    std::function<void(quint8 key)> chordPressed;

private:
    [[nodiscard]] bool negotiate();
    void on(quint16 type, void (Watch::*react)(const xcb_input_raw_button_press_event_t&));
    void select(quint32 mask);
    void loadRoles();
    void followActiveWindow();
    void readActiveWindow();
    void resetKeys();
    [[nodiscard]] bool keysSeen() const { return keysSelected && !shared.keyboardOurs; }
    [[nodiscard]] std::pair<QPoint, quint32> placeOfPointer();

    void keyPressed(const xcb_input_raw_button_press_event_t& event);
    void keyReleased(const xcb_input_raw_button_press_event_t& event);
    void buttonPressed(const xcb_input_raw_button_press_event_t& event);
    void buttonReleased(const xcb_input_raw_button_press_event_t& event);

    XThread& thread;
    ActivityClock& clock;
    const SyntheticKeys& synthetic;
    Shared& shared;
    quint8 opcode = 0; // of the extension; 0: no XInput 2.2
    std::vector<quint64> handlers;
    KeyState keys;
    bool keysSelected = false;
    bool rolesStale = true;
    quint32 activeWindow = 0; // the window manager's; 0: not known
};

bool X11Monitors::Watch::negotiate() {
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

void X11Monitors::Watch::start() {
    if (!negotiate()) {
        logOnce(QStringLiteral("no-xinput"),
                QStringLiteral("Ovalin: no XInput 2.2 — changes of the selection are not noticed"));
        return;
    }
    on(XCB_INPUT_RAW_KEY_PRESS, &Watch::keyPressed);
    on(XCB_INPUT_RAW_KEY_RELEASE, &Watch::keyReleased);
    on(XCB_INPUT_RAW_BUTTON_PRESS, &Watch::buttonPressed);
    on(XCB_INPUT_RAW_BUTTON_RELEASE, &Watch::buttonReleased);
    // Some programs cause floods of these: the tables are read again when the next key comes.
    handlers.push_back(thread.onEvent(XCB_MAPPING_NOTIFY, [this](const xcb_generic_event_t&) { rolesStale = true; }));
    followActiveWindow();
    selectKeys(!shared.keyboardOurs);
    clock.setWatching(true);
}

void X11Monitors::Watch::stop() {
    for (const quint64 handler : handlers)
        thread.removeHandler(handler);
    handlers.clear();
    clock.setWatching(false);
    if (opcode != 0)
        select(0);
}

void X11Monitors::Watch::on(quint16 type, void (Watch::*react)(const xcb_input_raw_button_press_event_t&)) {
    // Raw key and button events have one layout.
    handlers.push_back(thread.onGenericEvent(opcode, type, [this, react](const xcb_generic_event_t& event) {
        (this->*react)(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event));
    }));
}

void X11Monitors::Watch::select(quint32 mask) {
    struct {
        xcb_input_event_mask_t head;
        quint32 mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
    xcb_input_xi_select_events(thread.connection().get(), thread.connection().root(), 1, &selection.head);
}

void X11Monitors::Watch::selectKeys(bool on) {
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

void X11Monitors::Watch::resetKeys() {
    if (rolesStale)
        loadRoles();
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_query_keymap_reply_t> keymap(xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr));
    KeyState::Codes pressed;
    for (size_t code = 0; keymap && code < pressed.size(); ++code)
        pressed.set(code, (keymap->keys[code / 8] >> (code % 8) & 1) != 0);
    keys.reset(pressed);
}

void X11Monitors::Watch::loadRoles() {
    rolesStale = false;
    xcb_connection_t* c = thread.connection().get();
    const auto* setup = xcb_get_setup(c);
    const auto codeCount = static_cast<quint8>(setup->max_keycode - setup->min_keycode + 1);
    const auto symbolsAsked = xcb_get_keyboard_mapping(c, setup->min_keycode, codeCount);
    const auto modifiersAsked = xcb_get_modifier_mapping(c);
    const XReply<xcb_get_keyboard_mapping_reply_t> symbols(xcb_get_keyboard_mapping_reply(c, symbolsAsked, nullptr));
    const XReply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(c, modifiersAsked, nullptr));
    if (!symbols || !modifiers)
        return;
    const std::span<const quint32> symbolTable(
        xcb_get_keyboard_mapping_keysyms(symbols.get()),
        static_cast<size_t>(xcb_get_keyboard_mapping_keysyms_length(symbols.get())));
    const std::span<const quint8> modifierTable(
        xcb_get_modifier_mapping_keycodes(modifiers.get()),
        static_cast<size_t>(xcb_get_modifier_mapping_keycodes_length(modifiers.get())));
    keys.setRoles(keyRoles(setup->min_keycode, symbols->keysyms_per_keycode, symbolTable,
                           modifiers->keycodes_per_modifier, modifierTable));
}

void X11Monitors::Watch::followActiveWindow() {
    XConnection& server = thread.connection();
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(server.get(), server.root(), XCB_CW_EVENT_MASK, &mask);
    const xcb_atom_t active = server.atom("_NET_ACTIVE_WINDOW");
    handlers.push_back(thread.onEvent(XCB_PROPERTY_NOTIFY, [this, active](const xcb_generic_event_t& event) {
        const auto& notify = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (notify.atom == active && notify.window == thread.connection().root())
            readActiveWindow();
    }));
    readActiveWindow();
}

void X11Monitors::Watch::readActiveWindow() {
    XConnection& server = thread.connection();
    const auto asked =
        xcb_get_property(server.get(), 0, server.root(), server.atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0, 1);
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(server.get(), asked, nullptr));
    activeWindow = reply && xcb_get_property_value_length(reply.get()) >= 4
                       ? *static_cast<const quint32*>(xcb_get_property_value(reply.get()))
                       : 0;
}

std::pair<QPoint, quint32> X11Monitors::Watch::placeOfPointer() {
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, thread.connection().root()), nullptr));
    // On no window at all it is the root's, which is not "nobody knows".
    return pointer ? std::pair{QPoint(pointer->root_x, pointer->root_y),
                               pointer->child ? pointer->child : thread.connection().root()}
                   : std::pair{QPoint(), quint32{XCB_WINDOW_NONE}};
}

void X11Monitors::Watch::keyPressed(const xcb_input_raw_button_press_event_t& event) {
    if (!keysSeen())
        return;
    if (rolesStale)
        loadRoles();
    // Our own keys lift and press modifiers, so the state follows them too.
    const KeyState::Press press = keys.press(static_cast<quint8>(event.detail));
    if (press == KeyState::Press::Nothing) {
        if (chordPressed)
            chordPressed(static_cast<quint8>(event.detail));
    } else if (!synthetic.ours(event.time)) {
        clock.pressed(event.time);
        if (press == KeyState::Press::Typing)
            clock.pressedIn(activeWindow, event.time);
    }
}

void X11Monitors::Watch::keyReleased(const xcb_input_raw_button_press_event_t& event) {
    if (!keysSeen())
        return;
    const auto key = keys.release(static_cast<quint8>(event.detail));
    if (key && shared.wantsKeyUp && !synthetic.ours(event.time))
        shared.toMain([mainSide = &shared, key = *key] { mainSide->keyReleased(key); });
}

void X11Monitors::Watch::buttonPressed(const xcb_input_raw_button_press_event_t& event) {
    if (isWheel(event.detail))
        return;
    const auto place = placeOfPointer();
    clock.pressedIn(place.second, event.time);
    if (!shared.wantsPresses) {
        clock.pressed(event.time);
        return;
    }
    clock.pressedPerhaps(event.time);
    shared.toMain([mainSide = &shared, button = event.detail, time = event.time, place] {
        mainSide->buttonPressed(button, time, place.first, place.second);
    });
}

void X11Monitors::Watch::buttonReleased(const xcb_input_raw_button_press_event_t& event) {
    if (event.detail == LEFT_BUTTON && shared.wantsLeftUp)
        shared.toMain([mainSide = &shared] { mainSide->leftReleased(); });
}

X11Monitors::X11Monitors(XThread& xThread, ActivityClock& clock, const SyntheticKeys& synthetic)
    : shared(std::make_unique<Shared>(clock))
    , watch(std::make_unique<Watch>(xThread, clock, synthetic, *shared))
    , thread(xThread) {
    thread.post([theWatch = watch.get()] { theWatch->start(); });
}

X11Monitors::~X11Monitors() {
    thread.runAndWait([this] { watch->stop(); });
}

EventMonitors::Handle X11Monitors::onLeftMouseUp(std::function<void()> seen) {
    shared->leftUp.emplace(++shared->lastHandle, std::move(seen));
    shared->updateWants();
    return shared->lastHandle;
}

EventMonitors::Handle X11Monitors::onKeyUp(std::function<void(const KeyUp&)> seen) {
    shared->keyUp.emplace(++shared->lastHandle, std::move(seen));
    shared->updateWants();
    return shared->lastHandle;
}

EventMonitors::Handle X11Monitors::onPressOutside(std::function<void(QPoint)> seen) {
    shared->pressOutside.emplace(++shared->lastHandle, std::move(seen));
    shared->updateWants();
    return shared->lastHandle;
}

void X11Monitors::removeMonitor(Handle handle) {
    shared->leftUp.erase(handle);
    shared->keyUp.erase(handle);
    shared->pressOutside.erase(handle);
    shared->updateWants();
}

void X11Monitors::onChord(std::function<void(quint8)> seen) {
    thread.post([theWatch = watch.get(), seen = std::move(seen)] { theWatch->chordPressed = seen; });
}

void X11Monitors::setOwnWindows(std::function<bool(QPoint, quint32, quint32)> isOurs) {
    shared->isOurs = std::move(isOurs);
    shared->leftPressOutside = true;
    shared->updateWants();
}

void X11Monitors::setKeyboardOurs(bool ours) {
    shared->keyboardOurs = ours;
    thread.post([theWatch = watch.get(), ours] { theWatch->selectKeys(!ours); });
}

} // namespace ovalin
