#pragma once

#include "KeyMap.h"
#include "base/Dispatch.h"
#include "platform/KeyChord.h"
#include "platform/HotKeys.h"
#include "platform/x11/windows/WindowReader.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <atomic>
#include <memory>
#include <optional>

struct xcb_connection_t;
struct xcb_key_press_event_t;

namespace ovalin {

class XThread;

/// What the grabs depend on; a new keyboard map that leaves it alone is no reason to grab anew.
struct alignas(4) HotKeyBinding { // for the atomic one
    KeyMap::Key key = 0;          ///< 0: none
    quint8 modifiers = 0;
    quint16 locks = 0; ///< that do not matter
    bool operator==(const HotKeyBinding&) const = default;
    /// Whether this is the state of the modifiers, as in events.
    [[nodiscard]] bool fits(unsigned state) const { return (state & 0xff & ~unsigned{locks}) == modifiers; }
};

/// The hotkey as passive grabs (XGrabKey) of the root window on Qt's connection. Main thread.
///
/// While our own keyboard hold is on, the key comes through that: it is recognised by what it is, not by the grab.
/// The grab that a press activates stops the keyboard in the server, so that no key typed after it is lost or reaches
/// the application: the hold of the panel, or pressHandled(), lets the keys go on. It is left to end with the key, so
/// that the release is seen here and nowhere else.
class X11HotKeys final : public HotKeys, public QAbstractNativeEventFilter {
public:
    explicit X11HotKeys(Dispatch& dispatch, KeyChord chord = {});
    ~X11HotKeys() override;

    [[nodiscard]] HotKeyState registerHotKey() override;
    void unregisterHotKey() override;
    void pressHandled() override;

    /// To be called on the X thread with each key that goes down, and the modifiers beside it. True: it is ours; if the
    /// main thread does nothing about it for a second, the keyboard is let go, since nobody could type anywhere.
    [[nodiscard]] std::function<bool(quint8 key, quint8 modifiers)> watchdog(XThread& thread) const;

    /// Whether the hotkey went down last after that X server time. Clicks come by another connection, and may come
    /// late.
    [[nodiscard]] bool pressedSince(quint32 time) const;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    [[nodiscard]] HotKeyBinding currentBinding() const;
    bool keyPressed(const xcb_key_press_event_t& event);
    bool keyReleased(const xcb_key_press_event_t& event);
    void watchWindowManager();
    void lookSoon();
    void look();

    Dispatch& dispatch;
    const KeyChord chord;
    xcb_connection_t* const connection;
    std::optional<WindowReader> reader;
    quint8 xkbEvent = 0;

    /// Shared with the X thread.
    struct Presses {
        explicit Presses(xcb_connection_t* theConnection)
            : connection(theConnection) {}
        xcb_connection_t* connection;
        std::atomic<HotKeyBinding> binding;
        std::atomic<quint32> handled{0}; ///< how many
        void goOn();
    };
    std::shared_ptr<Presses> presses;

    HotKeyBinding seen;
    std::vector<quint16> grabbed; // modifier states of the grabs that stand
    quint32 windowManager = 0;
    bool lookPending = false;

    bool down = false;
    std::optional<quint32> pressedAt; // X server time
    quint32 releasedAt = 0;           // X server time of the last release of our press
    QObject context;
};

} // namespace ovalin
