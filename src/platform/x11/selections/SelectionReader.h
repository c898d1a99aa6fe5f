#pragma once

#include "platform/x11/XThread.h"

#include <QByteArray>

#include <deque>
#include <functional>
#include <map>

namespace ovalin {

/// What became of one request for a selection.
struct SelectionReading {
    enum class End {
        Data,
        Refused,  ///< the owner has no such target, or there is no owner
        Late,     ///< no answer, or not all of it, by the deadline; or the owner died
        TooLarge, ///< more than the caller takes
    };
    End end = End::Late;
    xcb_atom_t type = XCB_ATOM_NONE;
    int format = 8;
    QByteArray bytes;
};

/// Reads selections of other clients (ICCCM 2.4, large ones piece by piece by INCR), any number at a time, without ever
/// waiting. Made and used on the X thread.
class SelectionReader {
public:
    using Done = std::function<void(SelectionReading)>;
    struct Request {
        xcb_atom_t selection;
        xcb_atom_t target;
        Deadline deadline;
        qsizetype maxBytes = 32 * 1024 * 1024;
    };

    explicit SelectionReader(XThread& thread);
    ~SelectionReader();
    SelectionReader(const SelectionReader&) = delete;
    SelectionReader& operator=(const SelectionReader&) = delete;

    /// `done` is called once, on the X thread, by the deadline; not at all when the reader goes before.
    void read(const Request& request, Done done);

    /// The owner of this selection died: its answers will not come.
    void ownerGone(xcb_atom_t selection);

private:
    struct Transfer {
        Request request;
        Done done;
        quint64 timer = 0;
        bool incremental = false;
        SelectionReading reading;
    };
    using Transfers = std::map<xcb_window_t, Transfer>;

    void answered(const xcb_selection_notify_event_t& event);
    void propertyChanged(const xcb_property_notify_event_t& event);
    void takeWhole(Transfers::iterator transfer);
    void takePiece(Transfers::iterator transfer);
    [[nodiscard]] XReply<xcb_get_property_reply_t> takeProperty(xcb_window_t window, qsizetype maxBytes);
    void finish(Transfers::iterator transfer, SelectionReading::End end);
    [[nodiscard]] xcb_window_t takeWindow();

    XThread& thread;
    xcb_atom_t property;
    xcb_atom_t incr;
    Transfers transfers; // by the window that asked
    std::vector<xcb_window_t> freeWindows;
    std::deque<xcb_window_t> abandonedWindows;
    std::vector<quint64> handlers;
};

} // namespace ovalin
