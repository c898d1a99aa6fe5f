#include "X11Desktop.h"

#include "X11Settings.h"

#include "platform/applications/TargetRules.h"
#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/dbus/FreedesktopNotifier.h"
#include "platform/dbus/Logind.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/XThread.h"
#include "platform/x11/input/ActivityClock.h"
#include "platform/x11/input/OwnPresses.h"
#include "platform/x11/input/SyntheticKeys.h"
#include "platform/x11/input/X11Monitors.h"
#include "platform/x11/keyboard/X11HotKeys.h"
#include "platform/x11/keyboard/X11Keyboard.h"
#include "platform/x11/keyboard/X11KeyboardHold.h"
#include "platform/x11/panel/X11Panels.h"
#include "platform/x11/selections/X11Pasteboard.h"
#include "platform/x11/selections/X11PrimaryGuard.h"
#include "platform/x11/windows/FrontWindow.h"
#include "platform/x11/windows/X11Windows.h"
#include "platform/x11/windows/X11Workspace.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

// Positions of raw events are device pixels of the root window.
bool liesInOurWindows(QPoint rootPosition) {
    const auto windows = QGuiApplication::topLevelWindows();
    return std::any_of(windows.begin(), windows.end(), [rootPosition](const QWindow* window) {
        const qreal ratio = window->devicePixelRatio();
        const QRect frame = window->geometry();
        return window->isVisible() &&
               QRectF(QPointF(frame.topLeft()) * ratio, QSizeF(frame.size()) * ratio).contains(rootPosition);
    });
}

/// Also when it is closed by the very press.
bool isOurWindow(quint32 window) {
    const xcb_setup_t* setup = xcb_get_setup(qtConnection());
    return window != XCB_WINDOW_NONE && (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

/// The lists of an input method and keyboards on the screen are a part of what types into the panel, in a window of
/// their own or in a frame. A few round trips.
bool showsTypingAid(const WindowReader& reader, quint32 topWindow) {
    const WindowIdentity client = reader.clientBelow(topWindow);
    const qint32 pid = client.pid ? client.pid : reader.windowOwners().ownerOf(topWindow);
    const QString program =
        pid > 0 ? QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName() : QString();
    return isTypedWith(client.instance) || isTypedWith(client.wmClass) || isTypedWith(program);
}

} // namespace

struct X11Desktop::Parts {
    Parts(Dispatch& dispatch, KeyChord hotkey)
        : pasteboard(thread, activity)
        , monitors(thread, activity, synthetic)
        , hotKeys(dispatch, hotkey)
        , workspace(dispatch)
        , hold(dispatch)
        , keyboard(
              hold, [this](bool sending) { markSynthetic(sending); }, hotkey)
        , accessibility(dispatch, frontTitle)
        , notifier(dispatch)
        , settings(dispatch) {
        monitors.setOwnWindows([this](QPoint rootPosition, quint32 topWindow, quint32 time) {
            return isOurWindow(topWindow) || liesInOurWindows(rootPosition) || ownPresses.includes(time) ||
                   (hold.held() && showsTypingAid(WindowReader(qtConnection()), topWindow));
        });
        outside = monitors.onPressOutside([this](quint32 time) {
            if (!hotKeys.pressedSince(time)) // such a click was not beside the panel: it opened later
                hold.pressOutside();
        });
        monitors.onKeyDown(hotKeys.watchdog(thread));
        hold.heldChanged = [this](bool held) { monitors.setKeyboardOurs(held); };
        logind.willLock = [this] { hold.letGo(); };
    }
    ~Parts() { monitors.removeHint(outside); }

    // On the worker that sends the keys: the monitors may read them later than it is done.
    void markSynthetic(bool sending) {
        if (sending) {
            synthetic.begin();
            return;
        }
        synthetic.end(keyClock.serverTime(deadlineIn(std::chrono::milliseconds(50))).value_or(0));
    }

    OwnPresses ownPresses;
    XThread thread;
    ActivityClock activity;
    SyntheticKeys synthetic;
    XConnection
        keyClock; // of its own: asking for the time drops events, such as the target's request for the clipboard
    X11Pasteboard pasteboard;
    X11Monitors monitors;
    X11HotKeys hotKeys;
    X11Workspace workspace;
    X11Panels panels;
    X11KeyboardHold hold;
    X11Keyboard keyboard;
    AtSpiAccessibility accessibility;
    FreedesktopNotifier notifier;
    Logind logind;
    X11PrimaryGuard guard;
    X11Windows windows;
    X11Settings settings;
    SelectionHints::Handle outside = 0;
};

X11Desktop::X11Desktop(Dispatch& dispatch, KeyChord hotkey)
    : parts(std::make_unique<Parts>(dispatch, hotkey)) {}
X11Desktop::~X11Desktop() = default;

Desktop X11Desktop::desktop() {
    return {parts->hotKeys,  parts->workspace, parts->accessibility, parts->pasteboard,
            parts->keyboard, parts->hold,      parts->panels,        parts->monitors,
            parts->notifier, parts->logind,    parts->guard,         &parts->settings};
}

Windows& X11Desktop::windows() { return parts->windows; }

} // namespace ovalin
