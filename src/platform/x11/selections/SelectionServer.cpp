#include "SelectionServer.h"

#include <algorithm>
#include <utility>

#include <xcb/xfixes.h>

namespace ovalin {

namespace {

constexpr qsizetype LARGEST_PROPERTY = 128 * 1024; // above it INCR, in pieces of this size
constexpr std::chrono::seconds PATIENCE{10};       // with a client that stopped taking pieces

bool isProtocol(const QByteArray& target) {
    return target == "TARGETS" || target == "TIMESTAMP" || target == "MULTIPLE";
}

} // namespace

SelectionServer::SelectionServer(XThread& xThread, xcb_atom_t selectionToServe)
    : thread(xThread)
    , windows(xThread.connection().get())
    , selection(selectionToServe) {
    handlers.push_back(thread.onEvent(XCB_SELECTION_REQUEST, [this](const xcb_generic_event_t& event) {
        requested(reinterpret_cast<const xcb_selection_request_event_t&>(event));
    }));
    handlers.push_back(thread.onEvent(XCB_SELECTION_CLEAR, [this](const xcb_generic_event_t& event) {
        // The window tells a loss of this ownership from one of an earlier ownership that arrives late.
        if (owns() && reinterpret_cast<const xcb_selection_clear_event_t&>(event).owner == window)
            lost();
    }));
    handlers.push_back(thread.onEvent(XCB_PROPERTY_NOTIFY, [this](const xcb_generic_event_t& event) {
        propertyDeleted(reinterpret_cast<const xcb_property_notify_event_t&>(event));
    }));
    handlers.push_back(thread.onEvent(XCB_DESTROY_NOTIFY, [this](const xcb_generic_event_t& event) {
        const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        for (auto transfer = outgoing.begin(); transfer != outgoing.end();) {
            const auto current = transfer++;
            if (current->requestor == gone)
                endTransfer(current);
        }
    }));
    if (const quint8 type = thread.connection().selectionNotifyType()) {
        handlers.push_back(thread.onEvent(type, [this](const xcb_generic_event_t& event) {
            const auto& notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
            if (owns() && notify.owner == window)
                since = notify.selection_timestamp;
        }));
    }
}

SelectionServer::~SelectionServer() {
    for (const quint64 handler : handlers)
        thread.removeHandler(handler);
    for (const Outgoing& transfer : outgoing)
        thread.cancelTimer(transfer.timer);
    lost();
}

bool SelectionServer::own(SelectionContent newContent, RequestSeen seen, qint32 reader) {
    xcb_connection_t* c = thread.connection().get();
    const xcb_window_t owner = thread.connection().makeHiddenWindow(0);
    // Tells the time of this ownership, for TIMESTAMP.
    if (thread.connection().selectionNotifyType() != 0)
        xcb_xfixes_select_selection_input(c, owner, selection, XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    xcb_set_selection_owner(c, owner, selection, XCB_CURRENT_TIME);
    const XReply<xcb_get_selection_owner_reply_t> now(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    if (!now || now->owner != owner) {
        xcb_destroy_window(c, owner);
        return false;
    }
    lost(); // an earlier ownership, now that there is no moment without an owner
    window = owner;
    content = std::make_shared<const SelectionContent>(std::move(newContent));
    requestSeen = std::move(seen);
    onlyReader = reader;
    return true;
}

bool SelectionServer::exchange(std::optional<SelectionContent> newContent) {
    if (!owns())
        return false;
    xcb_connection_t* c = thread.connection().get();
    // Nobody can take it between the look and the change.
    xcb_grab_server(c);
    const XReply<xcb_get_selection_owner_reply_t> now(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    const bool ours = now && now->owner == window;
    bool done = ours;
    if (ours && newContent)
        done = own(std::move(*newContent));
    else if (ours)
        clear();
    xcb_ungrab_server(c);
    xcb_flush(c);
    return done;
}

void SelectionServer::clear() {
    xcb_connection_t* c = thread.connection().get();
    xcb_set_selection_owner(c, XCB_WINDOW_NONE, selection, XCB_CURRENT_TIME);
    lost();
    // A round trip: it is so when this returns.
    const XReply<xcb_get_selection_owner_reply_t> done(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
}

void SelectionServer::lost() {
    if (!owns())
        return;
    xcb_destroy_window(thread.connection().get(), window); // which also gives the selection up if it is still ours
    window = XCB_WINDOW_NONE;
    since.reset();
    content.reset();
    requestSeen = {};
}

void SelectionServer::requested(const xcb_selection_request_event_t& event) {
    if (event.selection != selection)
        return;
    // To an earlier ownership: nobody else answers that any more, and what is there now is not what was asked for.
    const bool late = !owns() || event.owner != window;
    // Clients older than ICCCM give no property and mean the target's name.
    const xcb_atom_t property = event.property != XCB_ATOM_NONE ? event.property : event.target;
    union { // an event is 32 bytes on the wire, and this one is declared with fewer
        xcb_selection_notify_event_t notify;
        char bytes[32] = {};
    };
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = event.time;
    notify.requestor = event.requestor;
    notify.selection = event.selection;
    notify.target = event.target;
    notify.property = !late && convert(event.requestor, event.target, property) ? property : xcb_atom_t{XCB_ATOM_NONE};
    xcb_send_event(thread.connection().get(), 0, event.requestor, 0, bytes);
}

bool SelectionServer::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
    XConnection& server = thread.connection();
    const QByteArray name = server.atomName(target);
    const qint32 pid = isProtocol(name) ? 0 : windows.windowOwners().ownerOf(requestor);
    const bool mayHaveIt = onlyReader < 1 || pid < 1 || pid == onlyReader;
    bool served = false;
    if (name == "TARGETS") {
        writeTargets(requestor, property);
        served = true;
    } else if (name == "TIMESTAMP" && since) {
        xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_INTEGER, 32, 1, &*since);
        served = true;
    } else if (name == "MULTIPLE") {
        served = convertMultiple(requestor, property);
    } else if (const auto item = std::ranges::find(*content, name, &PasteboardSnapshot::Item::target);
               mayHaveIt && item != content->end()) {
        served = writeItem(requestor, *item, property);
    }
    if (requestSeen && !isProtocol(name))
        requestSeen({pid, name, served});
    return served;
}

bool SelectionServer::convertMultiple(xcb_window_t requestor, xcb_atom_t property) {
    constexpr quint32 MOST_PAIRS = 256;
    xcb_connection_t* c = thread.connection().get();
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, requestor, property, XCB_GET_PROPERTY_TYPE_ANY, 0, MOST_PAIRS * 2), nullptr));
    if (!reply || reply->format != 32)
        return false;
    const auto* first = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
    std::vector<xcb_atom_t> pairs(first, first + xcb_get_property_value_length(reply.get()) / 4);
    const xcb_atom_t multiple = thread.connection().atom("MULTIPLE");
    for (size_t i = 0; i + 1 < pairs.size(); i += 2) {
        const bool nested = pairs[i] == multiple; // would turn in circles
        if (nested || pairs[i + 1] == XCB_ATOM_NONE || !convert(requestor, pairs[i], pairs[i + 1]))
            pairs[i + 1] = XCB_ATOM_NONE;
    }
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, requestor, property, reply->type, 32,
                        static_cast<quint32>(pairs.size()), pairs.data());
    return true;
}

void SelectionServer::writeTargets(xcb_window_t requestor, xcb_atom_t property) {
    XConnection& server = thread.connection();
    std::vector<xcb_atom_t> targets{server.atom("TARGETS"), server.atom("TIMESTAMP"), server.atom("MULTIPLE")};
    for (const auto& item : *content)
        targets.push_back(server.atom(item.target));
    xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_ATOM, 32,
                        static_cast<quint32>(targets.size()), targets.data());
}

bool SelectionServer::writeItem(xcb_window_t requestor, const PasteboardSnapshot::Item& item, xcb_atom_t property) {
    XConnection& server = thread.connection();
    if (item.format != 8 && item.format != 16 && item.format != 32)
        return false;
    if (item.bytes.size() <= LARGEST_PROPERTY) {
        xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, requestor, property, server.atom(item.type),
                            static_cast<quint8>(item.format),
                            static_cast<quint32>(item.bytes.size() / (item.format / 8)), item.bytes.constData());
        return true;
    }
    std::erase_if(outgoing, [&](const Outgoing& earlier) { // given up by a client that asks anew
        if (earlier.requestor != requestor || earlier.property != property)
            return false;
        thread.cancelTimer(earlier.timer);
        return true;
    });
    watch(requestor, true);
    const auto size = static_cast<quint32>(item.bytes.size());
    xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, requestor, property, server.atom("INCR"), 32, 1, &size);
    outgoing.push_back({requestor, property, content, &item});
    armTimer(std::prev(outgoing.end()));
    return true;
}

void SelectionServer::propertyDeleted(const xcb_property_notify_event_t& event) {
    if (event.state != XCB_PROPERTY_DELETE)
        return;
    const auto transfer = std::ranges::find_if(outgoing, [&](const Outgoing& candidate) {
        return candidate.requestor == event.window && candidate.property == event.atom;
    });
    if (transfer != outgoing.end())
        sendPiece(transfer);
}

void SelectionServer::sendPiece(std::list<Outgoing>::iterator transfer) {
    XConnection& server = thread.connection();
    const auto& item = *transfer->item;
    const qsizetype size = std::min(LARGEST_PROPERTY, item.bytes.size() - transfer->offset);
    xcb_change_property(server.get(), XCB_PROP_MODE_REPLACE, transfer->requestor, transfer->property,
                        server.atom(item.type), static_cast<quint8>(item.format),
                        static_cast<quint32>(size / (item.format / 8)), item.bytes.constData() + transfer->offset);
    transfer->offset += size;
    if (size == 0) // the empty piece says that this was all
        endTransfer(transfer);
    else
        armTimer(transfer);
}

void SelectionServer::armTimer(std::list<Outgoing>::iterator transfer) {
    thread.cancelTimer(transfer->timer);
    transfer->timer = thread.at(deadlineIn(PATIENCE), [this, transfer] { endTransfer(transfer); });
}

void SelectionServer::endTransfer(std::list<Outgoing>::iterator transfer) {
    const xcb_window_t requestor = transfer->requestor;
    thread.cancelTimer(transfer->timer);
    outgoing.erase(transfer);
    if (std::ranges::find(outgoing, requestor, &Outgoing::requestor) == outgoing.end())
        watch(requestor, false);
}

void SelectionServer::watch(xcb_window_t requestor, bool on) {
    if (thread.connection().isOwn(requestor))
        return; // our own reader watches its windows itself
    const quint32 mask = on ? XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY : 0;
    xcb_change_window_attributes(thread.connection().get(), requestor, XCB_CW_EVENT_MASK, &mask);
}

} // namespace ovalin
