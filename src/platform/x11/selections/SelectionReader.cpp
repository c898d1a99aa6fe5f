#include "SelectionReader.h"

#include <algorithm>
#include <utility>

namespace ovalin {

namespace {

const char* const TRANSFER_PROPERTY = "_OVALIN_SELECTION";
constexpr size_t MOST_ABANDONED = 32;

QByteArray bytesOf(const xcb_get_property_reply_t& reply) {
    return {static_cast<const char*>(xcb_get_property_value(&reply)), xcb_get_property_value_length(&reply)};
}

} // namespace

SelectionReader::SelectionReader(XThread& xThread)
    : thread(xThread)
    , property(xThread.connection().atom(TRANSFER_PROPERTY))
    , incr(xThread.connection().atom("INCR")) {
    handlers.push_back(thread.onEvent(XCB_SELECTION_NOTIFY, [this](const xcb_generic_event_t& event) {
        answered(reinterpret_cast<const xcb_selection_notify_event_t&>(event));
    }));
    handlers.push_back(thread.onEvent(XCB_PROPERTY_NOTIFY, [this](const xcb_generic_event_t& event) {
        propertyChanged(reinterpret_cast<const xcb_property_notify_event_t&>(event));
    }));
}

SelectionReader::~SelectionReader() {
    for (const quint64 handler : handlers)
        thread.removeHandler(handler);
    for (const auto& [window, transfer] : transfers)
        thread.cancelTimer(transfer.timer);
}

// Each request has a window to itself, so that an answer that comes too late, even a refusal, is never taken for the
// answer to a later question.
xcb_window_t SelectionReader::takeWindow() {
    if (freeWindows.empty())
        return thread.connection().makeHiddenWindow(XCB_EVENT_MASK_PROPERTY_CHANGE);
    const xcb_window_t window = freeWindows.back();
    freeWindows.pop_back();
    return window;
}

void SelectionReader::read(const Request& request, Done done) {
    const xcb_window_t window = takeWindow();
    const auto transfer = transfers.emplace(window, Transfer{request, std::move(done), 0, false, {}}).first;
    transfer->second.timer = thread.at(request.deadline, [this, window] {
        if (const auto late = transfers.find(window); late != transfers.end())
            finish(late, SelectionReading::End::Late);
    });
    xcb_convert_selection(thread.connection().get(), window, request.selection, request.target, property,
                          XCB_CURRENT_TIME);
}

void SelectionReader::ownerGone(xcb_atom_t selection) {
    std::vector<xcb_window_t> orphans;
    for (const auto& [window, transfer] : transfers) {
        if (transfer.request.selection == selection)
            orphans.push_back(window);
    }
    for (const xcb_window_t window : orphans) {
        if (const auto orphan = transfers.find(window); orphan != transfers.end())
            finish(orphan, SelectionReading::End::Late);
    }
}

void SelectionReader::answered(const xcb_selection_notify_event_t& event) {
    const auto transfer = transfers.find(event.requestor);
    if (transfer == transfers.end() || transfer->second.incremental)
        return;
    if (event.property == XCB_ATOM_NONE)
        finish(transfer, SelectionReading::End::Refused);
    else
        takeWhole(transfer);
}

void SelectionReader::propertyChanged(const xcb_property_notify_event_t& event) {
    if (event.atom != property || event.state != XCB_PROPERTY_NEW_VALUE)
        return;
    if (const auto transfer = transfers.find(event.window); transfer != transfers.end()) {
        if (transfer->second.incremental)
            takePiece(transfer);
    } else if (std::ranges::find(abandonedWindows, event.window) != abandonedWindows.end()) {
        // Lets an owner that sends piece by piece come to its end.
        xcb_delete_property(thread.connection().get(), event.window, property);
    }
}

XReply<xcb_get_property_reply_t> SelectionReader::takeProperty(xcb_window_t window, qsizetype maxBytes) {
    xcb_connection_t* c = thread.connection().get();
    const auto length = static_cast<quint32>(std::clamp<qsizetype>(maxBytes / 4 + 1, 1, 0x1fffffff));
    return XReply<xcb_get_property_reply_t>(xcb_get_property_reply(
        c, xcb_get_property(c, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, length), nullptr));
}

void SelectionReader::takeWhole(Transfers::iterator transfer) {
    const qsizetype maxBytes = transfer->second.request.maxBytes;
    const auto reply = takeProperty(transfer->first, maxBytes);
    if (!reply || reply->type == XCB_ATOM_NONE) {
        finish(transfer, SelectionReading::End::Refused);
        return;
    }
    if (reply->type == incr) {
        // Its value is a lower bound of the size.
        const auto* size = static_cast<const quint32*>(xcb_get_property_value(reply.get()));
        if (xcb_get_property_value_length(reply.get()) >= 4 && *size > static_cast<size_t>(maxBytes))
            finish(transfer, SelectionReading::End::TooLarge);
        else
            transfer->second.incremental = true;
        return;
    }
    SelectionReading& reading = transfer->second.reading;
    reading.type = reply->type;
    reading.format = reply->format;
    reading.bytes = bytesOf(*reply);
    const bool all = reply->bytes_after == 0 && reading.bytes.size() <= maxBytes;
    finish(transfer, all ? SelectionReading::End::Data : SelectionReading::End::TooLarge);
}

void SelectionReader::takePiece(Transfers::iterator transfer) {
    SelectionReading& reading = transfer->second.reading;
    const qsizetype room = transfer->second.request.maxBytes - reading.bytes.size();
    const auto reply = takeProperty(transfer->first, room);
    if (!reply || reply->type == XCB_ATOM_NONE)
        return; // a piece that was taken already
    reading.type = reply->type;
    reading.format = reply->format;
    const QByteArray piece = bytesOf(*reply);
    if (piece.isEmpty()) {
        finish(transfer, SelectionReading::End::Data);
        return;
    }
    reading.bytes += piece;
    if (piece.size() > room || reply->bytes_after > 0)
        finish(transfer, SelectionReading::End::TooLarge);
}

void SelectionReader::finish(Transfers::iterator transfer, SelectionReading::End end) {
    auto node = transfers.extract(transfer);
    const xcb_window_t window = node.key();
    thread.cancelTimer(node.mapped().timer);
    SelectionReading reading = std::move(node.mapped().reading);
    reading.end = end;
    if (end == SelectionReading::End::Data || end == SelectionReading::End::Refused) {
        freeWindows.push_back(window);
    } else {
        // More may come here. The window stays for a while: an answer to a window that is gone is an X error, and some
        // owners die of those, and the user's clipboard with them.
        reading.bytes.clear();
        xcb_delete_property(thread.connection().get(), window, property);
        abandonedWindows.push_back(window);
        if (abandonedWindows.size() > MOST_ABANDONED) {
            xcb_destroy_window(thread.connection().get(), abandonedWindows.front());
            abandonedWindows.pop_front();
        }
    }
    node.mapped().done(std::move(reading));
}

} // namespace ovalin
