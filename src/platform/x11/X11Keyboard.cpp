#include "X11Keyboard.h"

#include "BundleIds.h"
#include "QtConnection.h"
#include "XReply.h"
#include "base/Log.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <algorithm>
#include <ranges>

#include <X11/keysym.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace ovalin {

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

/// Whether any of the names by which a terminal may be known is in the table.
bool isOneOf(bool (*table)(const QString&), const WindowIdentity& client) {
    const QString executable =
        QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(client.pid))).fileName();
    // A terminal may have been given a WM_CLASS of the user's choice.
    return table(client.wmClass) || table(client.instance) || table(executable);
}

} // namespace

X11Keyboard::X11Keyboard(X11KeyboardHold& theHold, std::function<void(bool)> theSending)
    : hold(theHold)
    , connection(qtConnection())
    , sending(std::move(theSending)) {
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

X11Keyboard::Chord X11Keyboard::pasteChord(const KeyMap& map, const WindowIdentity& client) {
    const Chord insert = chordOf(map, {SHIFT}, map.plainKey(XK_Insert));
    if (isOneOf(isClassicTerminal, client))
        return insert;
    const KeyMap::Key letter = map.shortcutKey(XK_v);
    const bool terminal = isOneOf(isTerminal, client);
    const Chord chord = terminal ? chordOf(map, {CONTROL, SHIFT}, letter) : chordOf(map, {CONTROL}, letter);
    return chord.key || terminal ? chord : insert; // which means the same wherever Ctrl+V does
}

Keyboard::Sent X11Keyboard::sendCopy(qint32 pid) {
    if (!trusted())
        return Sent::NotTrusted;
    const std::lock_guard one(oneAtATime);
    const auto map = KeyMap::read(connection);
    const Chord chord = map ? chordOf(*map, {CONTROL}, map->shortcutKey(XK_c)) : Chord{};
    if (!chord.key) {
        logOnce(QStringLiteral("no-copy-key"), QStringLiteral("Ovalin: no key of this keyboard layout gives Ctrl+C"));
        return Sent::NotTrusted;
    }
    // As late as possible: the focus may have moved since the caller looked.
    const WindowIdentity target = front->find({pid, 0});
    if (!target.window)
        return Sent::NoTarget;
    if (isOneOf(isTerminal, target))
        return Sent::NotAllowed;
    sendChord(*map, chord);
    return Sent::Yes;
}

std::optional<Pasteboard::Selection> X11Keyboard::bringToFront(const PasteTarget& target) {
    if (!front)
        return {};
    const WindowIdentity client = front->bring(target, std::chrono::steady_clock::now() + BRING_DEADLINE);
    if (!client.window)
        return {};
    return isOneOf(isClassicTerminal, client) ? Pasteboard::Selection::Primary : Pasteboard::Selection::Clipboard;
}

Keyboard::Sent X11Keyboard::sendPaste(const PasteTarget& target) {
    if (!trusted())
        return Sent::NotTrusted;
    const std::lock_guard one(oneAtATime);
    const auto map = KeyMap::read(connection);
    if (!map)
        return Sent::NotTrusted;
    const WindowIdentity client = front->find(target);
    if (!client.window)
        return Sent::NoTarget;
    const Chord chord = pasteChord(*map, client);
    if (!chord.key) {
        logOnce(QStringLiteral("no-paste-key"), QStringLiteral("Ovalin: no key of this keyboard layout pastes"));
        return Sent::NotTrusted;
    }
    sendChord(*map, chord);
    return Sent::Yes;
}

void X11Keyboard::sendChord(const KeyMap& map, const Chord& chord) {
    const Keymap held(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    const std::vector<KeyMap::Key> modifiers = heldModifiers(map, held);
    const KeyMap::Key space = map.plainKey(XK_space);
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
            if (isDown(held, space))
                fake(connection, XCB_KEY_RELEASE, space);
            for (const KeyMap::Key key : modifiers)
                fake(connection, XCB_KEY_RELEASE, key);
            // XTEST drops a press of a key that it believes to be down, which would leave a bare "c".
            for (const KeyMap::Key key : chord.modifiers)
                fake(connection, XCB_KEY_RELEASE, key);
            fake(connection, XCB_KEY_RELEASE, chord.key);
        },
        [&] {
            for (const KeyMap::Key key : chord.modifiers)
                fake(connection, XCB_KEY_PRESS, key);
            fake(connection, XCB_KEY_PRESS, chord.key);
            fake(connection, XCB_KEY_RELEASE, chord.key);
            for (const KeyMap::Key key : std::views::reverse(chord.modifiers))
                fake(connection, XCB_KEY_RELEASE, key);
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
