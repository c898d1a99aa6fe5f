#pragma once

#include "WaylandThread.h"
#include "WindowBook.h"
#include "base/Descriptor.h"
#include "platform/Pasteboard.h"

#include <array>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>

struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;
struct zwlr_data_control_source_v1;

namespace ovalin {

/// CLIPBOARD and PRIMARY as the compositor tells of them, without a window or the focus (wlr-data-control). Nobody
/// tells who reads and who owns one. Made, used and destroyed on the WaylandThread.
class DataControl {
public:
    using Selection = Pasteboard::Selection;
    using Content = std::vector<PasteboardSnapshot::Item>;

    /// What is in a selection now.
    struct Shown {
        bool owned = false;
        bool ours = false;
        QByteArrayList types; ///< MIME types
        quint64 changes = 0;
        /// The window that was in front when it was set, while nothing else has been in front since.
        std::optional<quint64> setIn;
    };

    /// `clipboardChanges` counts along; `primaryChanged` is called after each change of PRIMARY by somebody else.
    DataControl(WaylandThread& thread, const WindowBook& book, std::atomic<quint64>& clipboardChanges,
                std::function<void()> primaryChanged);
    ~DataControl();
    DataControl(const DataControl&) = delete;
    DataControl& operator=(const DataControl&) = delete;

    [[nodiscard]] bool available() const { return device != nullptr; }
    [[nodiscard]] Shown shown(Selection selection) const;

    /// Has the owner write what it holds as this type into the descriptor.
    void receive(Selection selection, const QByteArray& type, const Descriptor& into);

    /// Owns the selection and serves the content to who asks, until somebody else takes it.
    bool own(Selection selection, Content content);
    /// Leaves the selection without an owner.
    void clear(Selection selection);

    /// When the text that we own was last asked for.
    [[nodiscard]] std::optional<Deadline> lastRead(Selection selection) const { return at(selection).lastRead; }

private:
    struct Offer {
        zwlr_data_control_offer_v1* offer = nullptr;
        QByteArrayList types;
    };
    struct Source {
        DataControl* owner = nullptr;
        Selection selection{};
        zwlr_data_control_source_v1* source = nullptr;
        std::shared_ptr<const Content> content;
    };
    struct State {
        std::unique_ptr<Offer> offer;
        Source* source = nullptr; // ours, while nobody else has taken it
        quint64 changes = 0;
        quint64 windowChanges = 0;
        std::optional<quint64> window; // in front when it was set
        std::optional<Deadline> lastRead;
    };
    struct Outgoing { // one transfer; it outlives the ownership
        Descriptor to;
        std::shared_ptr<const Content> content;
        const QByteArray* bytes;
        qsizetype written = 0;
        quint64 timer = 0;
    };

    [[nodiscard]] State& at(Selection selection) { return states.at(static_cast<size_t>(selection)); }
    [[nodiscard]] const State& at(Selection selection) const { return states.at(static_cast<size_t>(selection)); }
    void offered(zwlr_data_control_offer_v1* offer);
    void changed(Selection selection, zwlr_data_control_offer_v1* offer);
    void set(Selection selection, zwlr_data_control_source_v1* source);
    void send(const Source& source, const QByteArray& type, Descriptor to);
    void write(std::list<Outgoing>::iterator transfer);
    void endTransfer(std::list<Outgoing>::iterator transfer);
    void cancelled(Source* source);

    WaylandThread& thread;
    const WindowBook& book;
    std::atomic<quint64>& clipboardChanges;
    const std::function<void()> primaryChanged;
    zwlr_data_control_device_v1* device = nullptr;
    std::array<State, 2> states;
    std::list<std::unique_ptr<Offer>> arriving; // told, but not yet of which selection
    std::list<std::unique_ptr<Source>> sources;
    std::list<Outgoing> outgoing;
};

} // namespace ovalin
