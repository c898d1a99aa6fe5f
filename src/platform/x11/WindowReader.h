#pragma once

#include <QByteArray>
#include <QString>

#include <initializer_list>
#include <optional>
#include <vector>

struct xcb_connection_t;

namespace ovalin {

/// Who a window belongs to.
struct WindowIdentity {
    quint32 window = 0; ///< 0: no such window
    QString instance;   ///< WM_CLASS (ICCCM 4.1.2.5), both parts empty when not set
    QString wmClass;
    qint32 pid = 0; ///< of the client that made the window; 0 when not known

    [[nodiscard]] bool named() const { return !instance.isEmpty() || !wmClass.isEmpty(); }
};

/// What the workspace and the keyboard ask about windows. Any thread; every function is one round trip, or one a level
/// of the window tree where it says so. Windows that vanish meanwhile are empty answers.
class WindowReader {
public:
    explicit WindowReader(xcb_connection_t* connection);

    /// All in one round trip. The pid is the one the X server sees at the other end of the client's socket (XRes): it
    /// holds for sandboxed applications too, whose _NET_WM_PID is counted in their own namespace. That property serves
    /// where XRes does not answer and WM_CLIENT_MACHINE is this machine.
    [[nodiscard]] std::vector<WindowIdentity> identify(std::initializer_list<quint32> windows) const;

    /// The first window with a WM_CLASS from `window` upwards; one round trip a level.
    [[nodiscard]] WindowIdentity clientAbove(quint32 window) const;

    /// The topmost window with a WM_CLASS inside a frame, three levels deep; one round trip a window.
    [[nodiscard]] WindowIdentity clientBelow(quint32 frame, int depth = 3) const;

    struct Root {
        quint32 check = 0;  ///< the window manager's check window, whether it lives or not
        quint32 active = 0; ///< _NET_ACTIVE_WINDOW, which a dead window manager leaves behind
        quint32 focus = 0;  ///< input focus: 0 none, 1 follows the pointer
        quint32 underPointer = 0;
    };
    [[nodiscard]] Root root() const;

    /// The check window if a window manager runs (EWMH: it names itself), else 0.
    [[nodiscard]] quint32 windowManager(quint32 check) const;

    /// root() is only asked for the check window, and windowManager() of it; two round trips.
    [[nodiscard]] quint32 windowManager() const;

    /// The workspace that the window lies on (_NET_WM_DESKTOP) when another one is shown; absent where it is the shown
    /// one, all of them, or not known.
    [[nodiscard]] std::optional<quint32> otherDesktopOf(quint32 window) const;

    [[nodiscard]] quint32 rootId() const { return rootWindowId; }
    [[nodiscard]] quint32 activeWindowAtom() const { return activeWindow; }
    [[nodiscard]] quint32 currentDesktopAtom() const { return currentDesktop; }
    [[nodiscard]] quint32 checkAtom() const { return supportingWmCheck; }

private:
    xcb_connection_t* const connection;
    quint32 rootWindowId = 0;
    quint32 supportingWmCheck = 0;
    quint32 activeWindow = 0;
    quint32 wmPid = 0;
    quint32 currentDesktop = 0;
    quint32 windowDesktop = 0;
    QByteArray thisMachine;
};

} // namespace ovalin
