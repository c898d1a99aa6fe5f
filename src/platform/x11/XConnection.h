#pragma once

#include "ScreenConnection.h"
#include "base/EventThread.h"

#include <QByteArray>
#include <QHash>

#include <optional>
#include <vector>

#include <xcb/xcb.h>

namespace ovalin {

/// A connection of our own to the X server, apart from Qt's. One thread at a time. All calls are harmless when there is
/// no server or when it went away: they return nothing, 0 or an empty value.
class XConnection {
public:
    /// Connects to `display`, or to $DISPLAY when that is empty.
    explicit XConnection(const QByteArray& display = {});

    [[nodiscard]] bool isOpen() const { return static_cast<bool>(server); }
    [[nodiscard]] xcb_connection_t* get() const { return connection; }
    [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(connection); }
    [[nodiscard]] xcb_window_t root() const { return rootWindow; }
    [[nodiscard]] bool isOwn(quint32 id) const;

    /// Atoms are asked for once and remembered; they live as long as the server.
    [[nodiscard]] xcb_atom_t atom(const QByteArray& name);
    [[nodiscard]] QByteArray atomName(xcb_atom_t atom) { return atomNames({atom}).front(); }
    /// As many round trips as there are unknown atoms, but all of them in one go. Empty for an atom that does not
    /// exist.
    [[nodiscard]] std::vector<QByteArray> atomNames(const std::vector<xcb_atom_t>& atoms);

    /// The event type of XFixes' SelectionNotify; 0 when the server has no XFixes. Asked for once.
    [[nodiscard]] quint8 selectionNotifyType();

    /// A 1x1 window that is never shown, for properties and selections.
    [[nodiscard]] xcb_window_t makeHiddenWindow(quint32 eventMask);

    /// The next event, or nothing at the deadline or when the server is gone. Not for a connection with an XThread.
    [[nodiscard]] XReply<xcb_generic_event_t> waitForEvent(Deadline deadline);

    /// X time of the server at this moment, after everything sent before was processed (ICCCM 2.1: the time of a
    /// PropertyNotify). Drops the events that come before it. Not for a connection with an XThread.
    [[nodiscard]] std::optional<quint32> serverTime(Deadline deadline);

private:
    const ScreenConnection server;
    xcb_connection_t* const connection; // never null: libxcb hands out a broken connection instead
    const xcb_window_t rootWindow;
    xcb_window_t clockWindow = XCB_WINDOW_NONE;
    std::optional<quint8> selectionNotify;
    QHash<QByteArray, xcb_atom_t> atoms;
    QHash<xcb_atom_t, QByteArray> names;
};

} // namespace ovalin
