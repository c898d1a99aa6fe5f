#include "X11Keyboard.h"

#include "base/Log.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/XReply.h"
#include "platform/x11/targets/VimServer.h"

#include <QCoreApplication>
#include <QScopeGuard>

#include <algorithm>
#include <ranges>

#include <X11/keysym.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using Keymap = XReply<xcb_query_keymap_reply_t>;

bool isDown(const Keymap& keymap, KeyMap::Key key) { return keymap && (keymap->keys[key / 8] >> (key % 8) & 1) != 0; }

void fake(xcb_connection_t* connection, uint8_t type, KeyMap::Key key) {
    xcb_test_fake_input(connection, type, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

/// The modifier keys that are down. Lock keys are left alone: each press of theirs switches something.
std::vector<KeyMap::Key> heldModifiers(const KeyMap& map, const Keymap& keymap) {
    std::vector<KeyMap::Key> held;
    for (unsigned index = 0; index < 8; ++index) {
        if (map.lockMask() >> index & 1)
            continue;
        for (const KeyMap::Key key : map.modifierKeys(index)) {
            if (isDown(keymap, key) && std::ranges::find(held, key) == held.end())
                held.push_back(key);
        }
    }
    return held;
}

constexpr std::chrono::milliseconds BRING_DEADLINE{600};
constexpr size_t SHIFT = 0, CONTROL = 2; // modifiers of the X protocol

TargetFacts factsOf(const WindowIdentity& client, FocusKind focus) {
    return targetFacts({client.wmClass, client.instance}, client.pid, focus);
}

} // namespace

X11Keyboard::X11Keyboard(X11KeyboardHold& theHold, std::function<void(bool)> theSending, KeyChord theHotkey)
    : hold(theHold)
    , connection(qtConnection())
    , sending(std::move(theSending))
    , hotkey(theHotkey) {
    if (!connection)
        return;
    front.emplace(connection);
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_test_id);
    xtest = extension && extension->present;
    qApp->installNativeEventFilter(this);
}

X11Keyboard::~X11Keyboard() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

X11Keyboard::Chord X11Keyboard::chordOf(const KeyMap& map, std::initializer_list<size_t> modifiers, KeyMap::Key key) {
    Chord chord;
    for (const size_t index : modifiers) {
        if (map.modifierKeys(index).empty())
            return {};
        chord.modifiers.push_back(map.modifierKeys(index).front());
    }
    chord.key = key;
    return chord;
}

X11Keyboard::Chord X11Keyboard::copyChord(const KeyMap& map, TargetRule::Copy how) {
    return how == TargetRule::Copy::CtrlC ? chordOf(map, {CONTROL}, map.shortcutKey(XK_c))
                                          : chordOf(map, {CONTROL}, map.plainKey(XK_Insert));
}

std::vector<X11Keyboard::Chord> X11Keyboard::pasteChords(const KeyMap& map, const PasteWay& way) {
    std::vector<Chord> chords;
    if (way.before != PasteWay::Before::Nothing)
        chords.push_back(
            chordOf(map, {}, map.plainKey(way.before == PasteWay::Before::Delete ? XK_Delete : XK_BackSpace)));
    const Chord insert = chordOf(map, {SHIFT}, map.plainKey(XK_Insert));
    const KeyMap::Key letter = map.shortcutKey(XK_v);
    switch (way.keys) {
    case PasteWay::Keys::CtrlShiftV:
        chords.push_back(chordOf(map, {CONTROL, SHIFT}, letter));
        break;
    case PasteWay::Keys::CtrlV:
        chords.push_back(letter ? chordOf(map, {CONTROL}, letter) : insert);
        break;
    default:
        chords.push_back(insert);
    }
    const bool all = std::ranges::all_of(chords, [](const Chord& chord) { return chord.key != 0; });
    return all ? chords : std::vector<Chord>{};
}

Keyboard::Sent X11Keyboard::sendCopy(qint32 pid, FocusKind focus) {
    if (!trusted())
        return Sent::NotTrusted;
    const std::lock_guard one(oneAtATime);
    // As late as possible: the focus may have moved since the caller looked.
    const WindowIdentity target = front->find({pid, {}});
    if (!target.window)
        return Sent::NoTarget;
    const TargetRule::Copy how = targetRule(factsOf(target, focus)).copy;
    if (how == TargetRule::Copy::None)
        return Sent::NotAllowed;
    const auto map = KeyMap::read(connection);
    const Chord chord = map ? copyChord(*map, how) : Chord{};
    if (!chord.key) {
        logOnce(u"no-copy-key"_s, u"Ovalin: no key of this keyboard layout copies"_s);
        return Sent::NotTrusted;
    }
    sendChords(*map, {chord});
    return Sent::Yes;
}

PasteWay X11Keyboard::pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) {
    if (!front)
        return {};
    const WindowIdentity client = target.window ? front->identify(target) : front->find(target);
    PasteWay way = targetRule(factsOf(client, focus)).paste;
    way.overSelection = overSelection;
    if (!overSelection)
        way.before = PasteWay::Before::Nothing;
    if (way.keys == PasteWay::Keys::VimServer && !VimServer::of(connection, client.window, client.pid)) {
        way.keys = PasteWay::Keys::None;
        way.refusal = u"this vim has no command server: nothing can be put into it"_s;
    }
    return way;
}

bool X11Keyboard::bringToFront(const AppWindow& target) {
    return front && front->bring(target, std::chrono::steady_clock::now() + BRING_DEADLINE).window;
}

Keyboard::Sent X11Keyboard::sendPaste(const AppWindow& target, const PasteWay& way) {
    if (!trusted())
        return Sent::NotTrusted;
    if (!way.safe())
        return Sent::NotAllowed;
    const std::lock_guard one(oneAtATime);
    const auto map = KeyMap::read(connection);
    if (!map)
        return Sent::NotTrusted;
    const WindowIdentity client = front->find(target);
    if (!client.window)
        return Sent::NoTarget;
    if (way.keys == PasteWay::Keys::VimServer) {
        const auto vim = VimServer::of(connection, client.window, client.pid);
        return vim && vim->pasteClipboard(way.overSelection) ? Sent::Yes : Sent::NotAllowed;
    }
    const std::vector<Chord> chords = pasteChords(*map, way);
    if (chords.empty()) {
        logOnce(u"no-paste-key"_s, u"Ovalin: no key of this keyboard layout pastes"_s);
        return Sent::NotTrusted;
    }
    sendChords(*map, chords);
    return Sent::Yes;
}

void X11Keyboard::press(xcb_connection_t* connection, const Chord& chord) {
    for (const KeyMap::Key key : chord.modifiers)
        fake(connection, XCB_KEY_PRESS, key);
    fake(connection, XCB_KEY_PRESS, chord.key);
    fake(connection, XCB_KEY_RELEASE, chord.key);
    std::for_each(chord.modifiers.rbegin(), chord.modifiers.rend(),
                  [connection](KeyMap::Key key) { fake(connection, XCB_KEY_RELEASE, key); });
}

void X11Keyboard::sendChords(const KeyMap& map, const std::vector<Chord>& chords) {
    const Keymap held(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    const std::vector<KeyMap::Key> modifiers = heldModifiers(map, held);
    const KeyMap::Key hotkeys = map.plainKey(hotkey.symbol);
    if (sending)
        sending(true);
    const auto notSending = qScopeGuard([this] {
        if (sending)
            sending(false);
    });

    xcb_query_keymap_cookie_t askStillHeld{};
    const bool closed = hold.sharedGrab().openFor(
        [&] {
            askStillHeld = xcb_query_keymap(connection);
            // Lifted while the hold is still on: the application never saw them go down in the panel, and a lone Alt
            // going up opens its menu bar. The hotkey's key ends the hotkey's grab.
            if (isDown(held, hotkeys))
                fake(connection, XCB_KEY_RELEASE, hotkeys);
            for (const KeyMap::Key key : modifiers)
                fake(connection, XCB_KEY_RELEASE, key);
            // XTEST drops a press of a key that it believes to be down, which would leave a bare "c".
            for (const Chord& chord : chords) {
                for (const KeyMap::Key key : chord.modifiers)
                    fake(connection, XCB_KEY_RELEASE, key);
                fake(connection, XCB_KEY_RELEASE, chord.key);
            }
        },
        [&] {
            for (const Chord& chord : chords)
                press(connection, chord);
        },
        [&] {
            for (const KeyMap::Key key : modifiers)
                fake(connection, XCB_KEY_PRESS, key);
            const std::lock_guard lock(pressedAgainMutex);
            pressedAgain.insert(pressedAgain.end(), modifiers.cbegin(), modifiers.cend());
        });
    // A modifier that went up just before the keys must not be stuck now.
    const Keymap stillHeld(xcb_query_keymap_reply(connection, askStillHeld, nullptr));
    for (const KeyMap::Key key : modifiers) {
        if (stillHeld && !isDown(stillHeld, key))
            fake(connection, XCB_KEY_RELEASE, key);
    }
    xcb_flush(connection);
    if (!closed)
        hold.clock().toMain([hold = &hold, guard = QPointer<QObject>(hold.receiver())] {
            if (guard)
                hold->retake();
        });
}

bool X11Keyboard::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_key_release_event_t*>(message);
    if (event->response_type == XCB_KEY_RELEASE) {
        const std::lock_guard lock(pressedAgainMutex);
        if (std::ranges::find(pressedAgain, event->detail) != pressedAgain.end())
            letGoOfPressedAgain();
    }
    return false;
}

void X11Keyboard::letGoOfPressedAgain() {
    // This release may be the one of a copy that is under way; what is down stays down.
    const Keymap now(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    std::erase_if(pressedAgain, [&](KeyMap::Key key) {
        if (!now || isDown(now, key))
            return false;
        fake(connection, XCB_KEY_RELEASE, key);
        return true;
    });
    xcb_flush(connection);
}

} // namespace ovalin
