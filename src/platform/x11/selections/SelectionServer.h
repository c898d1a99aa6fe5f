#pragma once

#include "platform/Pasteboard.h"
#include "platform/x11/XThread.h"
#include "platform/x11/windows/WindowReader.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>

namespace ovalin {

using SelectionContent = std::vector<PasteboardSnapshot::Item>;

/// Owns a selection and serves its content to who asks (ICCCM 2.2, with MULTIPLE and INCR), until another client takes
/// the selection. Made and used on the X thread; everything happens in reaction to events.
class SelectionServer {
public:
    struct Request {
        qint32 pid; ///< of the client that asks, 0 when unknown
        QByteArray target;
        bool served; ///< false: refused
    };
    using RequestSeen = std::function<void(const Request&)>;

    SelectionServer(XThread& thread, xcb_atom_t selection);
    ~SelectionServer();
    SelectionServer(const SelectionServer&) = delete;
    SelectionServer& operator=(const SelectionServer&) = delete;

    /// Takes the selection. Everybody learns what there is, but only process `reader` gets it, unless that is below 1
    /// or the X server cannot say who asks: clipboard histories ask for all that they see. `seen` hears of every
    /// request but TARGETS, TIMESTAMP and MULTIPLE (its parts are told one by one), on the X thread, and must not call
    /// the server. False when the server gave the selection to somebody else.
    bool own(SelectionContent content, RequestSeen seen = {}, qint32 reader = 0);

    /// Goes on with something else, or gives the selection up when that is absent; false, and nothing happens, when
    /// another client has taken it, even if we have not heard of it yet.
    bool exchange(std::optional<SelectionContent> content);

    [[nodiscard]] bool owns() const { return window != XCB_WINDOW_NONE; }

    /// Large transfers under way.
    [[nodiscard]] size_t transfers() const { return outgoing.size(); }

    /// Leaves the selection without an owner, whoever has it.
    void clear();

private:
    struct Outgoing { // one INCR transfer; it outlives the ownership
        xcb_window_t requestor;
        xcb_atom_t property;
        std::shared_ptr<const SelectionContent> content;
        const PasteboardSnapshot::Item* item;
        qsizetype offset = 0;
        quint64 timer = 0;
    };

    void requested(const xcb_selection_request_event_t& event);
    [[nodiscard]] bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    [[nodiscard]] bool convertMultiple(xcb_window_t requestor, xcb_atom_t property);
    [[nodiscard]] bool writeItem(xcb_window_t requestor, const PasteboardSnapshot::Item& item, xcb_atom_t property);
    void writeTargets(xcb_window_t requestor, xcb_atom_t property);
    void propertyDeleted(const xcb_property_notify_event_t& event);
    void sendPiece(std::list<Outgoing>::iterator transfer);
    void endTransfer(std::list<Outgoing>::iterator transfer);
    void armTimer(std::list<Outgoing>::iterator transfer);
    void watch(xcb_window_t requestor, bool on);
    void lost();

    XThread& thread;
    const WindowReader windows;
    const xcb_atom_t selection;
    xcb_window_t window = XCB_WINDOW_NONE; // a new one for each ownership
    std::optional<quint32> since;          // X time, as XFixes tells it
    std::shared_ptr<const SelectionContent> content;
    RequestSeen requestSeen;
    qint32 onlyReader = 0;
    std::list<Outgoing> outgoing;
    std::vector<quint64> handlers;
};

} // namespace ovalin
