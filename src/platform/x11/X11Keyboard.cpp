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
#include <unistd.h>

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

bool runsInTerminal(const WindowIdentity& client) {
    const QString executable =
        QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(client.pid))).fileName();
    // A terminal may have been given a WM_CLASS of the user's choice.
    return isTerminal(client.wmClass) || isTerminal(client.instance) || isTerminal(executable);
}

} // namespace

X11Keyboard::X11Keyboard(X11KeyboardHold& theHold, std::function<void(bool)> theSending)
    : hold(theHold)
    , connection(qtConnection())
    , sending(std::move(theSending)) {
    if (!connection)
        return;
    reader.emplace(connection);
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_test_id);
    xtest = extension && extension->present;
    qApp->installNativeEventFilter(this);
}

X11Keyboard::~X11Keyboard() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

Keyboard::Sent X11Keyboard::sendCopy(qint32 pid) {
    if (!trusted())
        return Sent::NotTrusted;
    const std::lock_guard one(oneAtATime);
    const auto map = KeyMap::read(connection);
    const KeyMap::Key letter = map ? map->shortcutKey(XK_c) : KeyMap::Key{0};
    if (!letter || map->modifierKeys(2).empty()) {
        logOnce(QStringLiteral("no-copy-key"), QStringLiteral("Ovalin: no key of this keyboard layout gives Ctrl+C"));
        return Sent::NotTrusted;
    }
    // As late as possible: the focus may have moved since the caller looked.
    const WindowIdentity target = focusedClient();
    if (!target.window || target.pid == ::getpid() || (pid > 0 && target.pid != pid))
        return Sent::NoTarget;
    if (runsInTerminal(target))
        return Sent::NotAllowed;
    copyChord(*map, letter);
    return Sent::Yes;
}

WindowIdentity X11Keyboard::focusedClient() const {
    const WindowReader::Root root = reader->root();
    if (root.focus == XCB_INPUT_FOCUS_POINTER_ROOT)
        return reader->clientBelow(root.underPointer);
    return reader->clientAbove(root.focus);
}

void X11Keyboard::copyChord(const KeyMap& map, KeyMap::Key letter) {
    const Keymap held(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    const std::vector<KeyMap::Key> modifiers = heldModifiers(map, held);
    const KeyMap::Key control = map.modifierKeys(2).front();
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
            fake(connection, XCB_KEY_RELEASE, control);
            fake(connection, XCB_KEY_RELEASE, letter);
        },
        [&] {
            fake(connection, XCB_KEY_PRESS, control);
            fake(connection, XCB_KEY_PRESS, letter);
            fake(connection, XCB_KEY_RELEASE, letter);
            fake(connection, XCB_KEY_RELEASE, control);
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
