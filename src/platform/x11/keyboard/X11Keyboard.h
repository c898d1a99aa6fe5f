#pragma once

// The keyboard, how it hangs together:
//
//   X11HotKeys        the hotkey: passive grabs, which stop the keyboard in the server until somebody takes it
//   X11KeyboardHold   takes it for the panel, and gives it back to lockers, popups and after five minutes
//   KeyboardGrab      the one active grab on Qt's connection; X11KeyboardHold owns it, X11Keyboard opens it
//   X11Keyboard       sends chords (XTEST) through a gap in that grab; TargetRules says which are harmless
//   KeyMap            which key gives what, and which are modifiers, by libxkbcommon; asked anew each time, since
//                     layouts change
//
// Main thread, but X11Keyboard (a worker) and the watchdog of X11HotKeys (the X thread).

#include "KeyMap.h"
#include "X11KeyboardHold.h"
#include "platform/KeyChord.h"
#include "platform/Keyboard.h"
#include "platform/applications/TargetRules.h"
#include "platform/x11/windows/FrontWindow.h"

#include <QAbstractNativeEventFilter>

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace ovalin {

/// Synthetic keys by XTEST on Qt's connection, the one that holds the keyboard: only so do the keys fall into a gap of
/// the hold that no other key can use.
class X11Keyboard final : public Keyboard, public QAbstractNativeEventFilter {
public:
    /// `sending` is called on the worker around the keys: what monitors see meanwhile is not the user's.
    /// `hotkey`: its key may still be down.
    X11Keyboard(X11KeyboardHold& hold, std::function<void(bool sending)> sending, KeyChord hotkey = {});
    ~X11Keyboard() override;

    [[nodiscard]] bool trusted() const override { return xtest; }
    [[nodiscard]] Sent sendCopy(qint32 pid, FocusKind focus) override;
    [[nodiscard]] PasteWay pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) override;
    [[nodiscard]] bool bringToFront(const AppWindow& target) override;
    [[nodiscard]] Sent sendPaste(const AppWindow& target, const PasteWay& way) override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    struct Chord {
        std::vector<KeyMap::Key> modifiers; ///< pressed in this order
        KeyMap::Key key = 0;                ///< 0: no key of this layout gives the chord
    };

    void letGoOfPressedAgain();
    void sendChords(const KeyMap& map, const std::vector<Chord>& chords);
    static void press(xcb_connection_t* connection, const Chord& chord);
    [[nodiscard]] static Chord chordOf(const KeyMap& map, std::initializer_list<size_t> modifiers, KeyMap::Key key);
    [[nodiscard]] static Chord copyChord(const KeyMap& map, TargetRule::Copy how);
    [[nodiscard]] static std::vector<Chord> pasteChords(const KeyMap& map, const PasteWay& way);

    X11KeyboardHold& hold;
    xcb_connection_t* const connection;
    const std::function<void(bool)> sending;
    const KeyChord hotkey;
    std::optional<FrontWindow> front;
    bool xtest = false;
    std::mutex oneAtATime;

    /// Keys that XTEST's device holds since a copy although the user's finger is on another device: the server takes
    /// them for up when the finger is off, but drops the next press that some program sends by XTEST.
    std::vector<KeyMap::Key> pressedAgain;
    std::mutex pressedAgainMutex;
};

} // namespace ovalin
