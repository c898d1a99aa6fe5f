#pragma once

#include "WindowOwners.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace ovalin {

/// Who a window belongs to.
struct WindowIdentity {
    quint32 window = 0; ///< 0: no such window
    QString instance;   ///< WM_CLASS (ICCCM 4.1.2.5), both parts empty when not set
    QString wmClass;
    qint32 pid = 0; ///< of the client that made the window; 0 when not known

    [[nodiscard]] bool named() const { return !instance.isEmpty() || !wmClass.isEmpty(); }
};

/// The one reader of other programs' windows: who they are, whose, what they are called, how they lie, and what the
/// window manager says of them. Any thread; every function is one round trip, or one a level of the window tree where
/// it says so. Windows that vanish meanwhile are empty answers.
class WindowReader {
public:
    explicit WindowReader(xcb_connection_t* connection);

    /// All in one round trip.
    [[nodiscard]] std::vector<WindowIdentity> identify(const std::vector<quint32>& windows) const;

    /// The window and those that it lies in, up to the child of the root; one round trip a level.
    [[nodiscard]] std::vector<WindowIdentity> lineage(quint32 window) const { return upwards(window, Until::Root); }

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

    /// The active window, 0 when the window manager names none.
    [[nodiscard]] quint32 active() const;

    /// What a window manager has listed (EWMH _NET_CLIENT_LIST_STACKING), living or not, bottom to top.
    [[nodiscard]] std::vector<quint32> listedWindows() const;

    /// What a living window manager manages, bottom to top; else nothing. Three round trips.
    [[nodiscard]] std::vector<quint32> managedWindows() const;

    /// The title (EWMH _NET_WM_NAME, else WM_NAME); empty when there is none.
    [[nodiscard]] QString title(quint32 window) const { return titles({window}).front(); }

    /// Of each of them, in one round trip.
    [[nodiscard]] QStringList titles(const std::vector<quint32>& windows) const;

    /// The titles of the listed windows, the active one first, then from the top down. Three round trips.
    [[nodiscard]] QStringList titlesTopDown() const;

    [[nodiscard]] const WindowOwners& windowOwners() const { return owners; }

    /// The workspace that the window lies on (_NET_WM_DESKTOP) when another one is shown; absent where it is the shown
    /// one, all of them, or not known.
    [[nodiscard]] std::optional<quint32> otherDesktopOf(quint32 window) const;

    [[nodiscard]] quint32 rootId() const { return rootWindowId; }
    [[nodiscard]] quint32 activeWindowAtom() const { return activeWindow; }
    [[nodiscard]] quint32 currentDesktopAtom() const { return currentDesktop; }
    [[nodiscard]] quint32 checkAtom() const { return supportingWmCheck; }

private:
    enum class Until { Named, Root };
    [[nodiscard]] std::vector<WindowIdentity> upwards(quint32 window, Until end) const;

    xcb_connection_t* const connection;
    const WindowOwners owners;
    const quint32 rootWindowId;
    quint32 supportingWmCheck = 0;
    quint32 activeWindow = 0;
    quint32 clientList = 0;
    quint32 currentDesktop = 0;
    quint32 windowDesktop = 0;
    quint32 windowName = 0;
};

} // namespace ovalin
