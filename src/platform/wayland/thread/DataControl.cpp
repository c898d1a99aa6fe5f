#include "DataControl.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "wlr-data-control-unstable-v1-client-protocol.h"
#include <wayland-client.h>

namespace ovalin {

namespace {

using WlDevice = zwlr_data_control_device_v1;
using WlOffer = zwlr_data_control_offer_v1;
using WlSource = zwlr_data_control_source_v1;

constexpr std::chrono::seconds PATIENCE{10}; // with a reader that does not read

} // namespace

DataControl::DataControl(WaylandThread& theThread, const WindowBook& theBook, std::atomic<quint64>& theChanges,
                         std::function<void()> thePrimaryChanged)
    : thread(theThread)
    , book(theBook)
    , clipboardChanges(theChanges)
    , primaryChanged(std::move(thePrimaryChanged)) {
    const auto& globals = thread.globals();
    if (!globals.dataControl || !globals.seat)
        return;
    static const zwlr_data_control_device_v1_listener listener{
        [](void* self, WlDevice*, WlOffer* offer) { static_cast<DataControl*>(self)->offered(offer); },
        [](void* self, WlDevice*, WlOffer* offer) {
            static_cast<DataControl*>(self)->changed(Selection::Clipboard, offer);
        },
        [](void*, WlDevice*) {},
        [](void* self, WlDevice*, WlOffer* offer) {
            static_cast<DataControl*>(self)->changed(Selection::Primary, offer);
        }};
    device = zwlr_data_control_manager_v1_get_data_device(globals.dataControl, globals.seat);
    zwlr_data_control_device_v1_add_listener(device, &listener, this);
}

DataControl::~DataControl() {
    while (!outgoing.empty())
        endTransfer(outgoing.begin());
    for (State& state : states) {
        if (state.offer)
            zwlr_data_control_offer_v1_destroy(state.offer->offer);
    }
    for (const auto& offer : arriving)
        zwlr_data_control_offer_v1_destroy(offer->offer);
    for (const auto& source : sources)
        zwlr_data_control_source_v1_destroy(source->source);
    if (device)
        zwlr_data_control_device_v1_destroy(device);
}

DataControl::Shown DataControl::shown(Selection selection) const {
    const State& state = at(selection);
    const bool stillThere = state.window && state.windowChanges == book.changes();
    return {state.offer != nullptr, state.source != nullptr, state.offer ? state.offer->types : QByteArrayList{},
            state.changes, stillThere ? state.window : std::nullopt};
}

void DataControl::offered(WlOffer* offer) {
    static const zwlr_data_control_offer_v1_listener listener{
        [](void* data, WlOffer*, const char* type) { static_cast<Offer*>(data)->types.append(type); }};
    Offer& arrived = *arriving.emplace_back(std::make_unique<Offer>());
    arrived.offer = offer;
    zwlr_data_control_offer_v1_add_listener(offer, &listener, &arrived);
}

void DataControl::changed(Selection selection, WlOffer* offer) {
    State& state = at(selection);
    const bool first = state.changes == 0;
    if (state.offer)
        zwlr_data_control_offer_v1_destroy(state.offer->offer);
    state.offer.reset();
    const auto found = std::ranges::find_if(arriving, [offer](const auto& each) { return each->offer == offer; });
    if (found != arriving.end()) {
        state.offer = std::move(*found);
        arriving.erase(found);
    }
    ++state.changes;
    const auto front = book.front();
    state.windowChanges = book.changes();
    // The first one was there before us.
    state.window = front && !first && !state.source ? std::optional(front->id) : std::nullopt;
    if (selection == Selection::Clipboard)
        ++clipboardChanges;
    else if (!first && !state.source)
        primaryChanged();
}

void DataControl::receive(Selection selection, const QByteArray& type, const Descriptor& into) {
    if (const State& state = at(selection); state.offer)
        zwlr_data_control_offer_v1_receive(state.offer->offer, type.constData(), into.get());
}

bool DataControl::own(Selection selection, Content content) {
    if (!device || (selection == Selection::Primary && thread.globals().dataControlVersion < 2))
        return false;
    static const zwlr_data_control_source_v1_listener listener{
        [](void* data, WlSource*, const char* type, qint32 descriptor) {
            const auto* source = static_cast<Source*>(data);
            source->owner->send(*source, type, Descriptor(descriptor));
        },
        [](void* data, WlSource*) {
            auto* source = static_cast<Source*>(data);
            source->owner->cancelled(source);
        }};
    Source& source = *sources.emplace_back(std::make_unique<Source>());
    source.owner = this;
    source.selection = selection;
    source.content = std::make_shared<const Content>(std::move(content));
    source.source = zwlr_data_control_manager_v1_create_data_source(thread.globals().dataControl);
    zwlr_data_control_source_v1_add_listener(source.source, &listener, &source);
    for (const PasteboardSnapshot::Item& item : *source.content)
        zwlr_data_control_source_v1_offer(source.source, item.target.constData());
    set(selection, source.source);
    at(selection).source = &source;
    at(selection).lastRead.reset();
    return true;
}

void DataControl::clear(Selection selection) {
    if (device && (selection == Selection::Clipboard || thread.globals().dataControlVersion >= 2))
        set(selection, nullptr);
    at(selection).source = nullptr;
}

void DataControl::set(Selection selection, WlSource* source) {
    if (selection == Selection::Clipboard)
        zwlr_data_control_device_v1_set_selection(device, source);
    else
        zwlr_data_control_device_v1_set_primary_selection(device, source);
}

void DataControl::cancelled(Source* source) {
    if (State& state = at(source->selection); state.source == source)
        state.source = nullptr;
    zwlr_data_control_source_v1_destroy(source->source);
    std::erase_if(sources, [source](const auto& each) { return each.get() == source; });
}

void DataControl::send(const Source& source, const QByteArray& type, Descriptor to) {
    if (at(source.selection).source == &source)
        at(source.selection).lastRead = std::chrono::steady_clock::now();
    const auto item = std::ranges::find(*source.content, type, &PasteboardSnapshot::Item::target);
    if (item == source.content->end())
        return;
    ::fcntl(to.get(), F_SETFL, O_NONBLOCK); // the pipe is the reader's, who may never read
    outgoing.push_front({std::move(to), source.content, &item->bytes});
    const auto transfer = outgoing.begin();
    transfer->timer = thread.at(deadlineIn(PATIENCE), [this, transfer] { endTransfer(transfer); });
    thread.watch(transfer->to.get(), POLLOUT, [this, transfer] { write(transfer); });
    write(transfer);
}

void DataControl::write(std::list<Outgoing>::iterator transfer) {
    const QByteArray& bytes = *transfer->bytes;
    while (transfer->written < bytes.size()) {
        const auto count = ::write(transfer->to.get(), bytes.constData() + transfer->written,
                                   static_cast<size_t>(bytes.size() - transfer->written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return; // poll() tells when there is room again
        if (count < 0)
            break;
        transfer->written += count;
    }
    endTransfer(transfer);
}

void DataControl::endTransfer(std::list<Outgoing>::iterator transfer) {
    thread.cancelTimer(transfer->timer);
    thread.unwatch(transfer->to.get());
    outgoing.erase(transfer);
}

} // namespace ovalin
