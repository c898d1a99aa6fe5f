#pragma once

#include "KeyMap.h"
#include "WindowReader.h"
#include "base/Dispatch.h"
#include "platform/HotKeys.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <optional>

struct xcb_key_press_event_t;

namespace ovalin {

/// The hotkey as passive grabs (XGrabKey) of the root window on Qt's connection. Main thread.
///
/// While our own keyboard hold is on, the key comes through that: it is recognised by what it is, not by the grab.
/// The grab that a press activates is left to end with the key, so that the release is seen here and nowhere else.
class X11HotKeys final : public HotKeys, public QAbstractNativeEventFilter {
public:
    explicit X11HotKeys(Dispatch& dispatch);
    ~X11HotKeys() override;

    [[nodiscard]] int registerHotKey() override;
    void unregisterHotKey() override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    /// What the grabs depend on; a new keyboard map that leaves it alone is no reason to grab anew.
    struct Binding {
        KeyMap::Key key = 0;
        quint16 alt = 0;
        quint16 locks = 0;
        bool operator==(const Binding&) const = default;
    };

    [[nodiscard]] Binding currentBinding() const;
    bool keyPressed(const xcb_key_press_event_t& event);
    bool keyReleased(const xcb_key_press_event_t& event);
    void watchWindowManager();
    void lookSoon();
    void look();

    Dispatch& dispatch;
    xcb_connection_t* const connection;
    std::optional<WindowReader> reader;
    quint8 xkbEvent = 0;

    Binding seen;
    std::vector<quint16> grabbed; // modifier states of the grabs that stand
    quint32 windowManager = 0;
    bool lookPending = false;

    bool down = false;
    quint32 releasedAt = 0; // X server time of the last release of our press
    QObject context;
};

} // namespace ovalin
