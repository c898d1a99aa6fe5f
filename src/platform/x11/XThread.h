#pragma once

#include "XConnection.h"

#include <functional>
#include <vector>

namespace ovalin {

/// The X thread: an EventThread whose server is an X server.
class XThread final : public EventThread {
public:
    using Handler = std::function<void(const xcb_generic_event_t&)>;

    /// Connects to `display` ($DISPLAY when empty). Without a server the object is usable and answers nothing.
    explicit XThread(const QByteArray& display = {});
    ~XThread();

    // On the X thread only, or before and after it runs:

    [[nodiscard]] XConnection& connection() { return server; }

    /// Calls `handler` for each event of this type: a core type, or `first_event` of an extension plus its number.
    /// Not from inside a handler.
    quint64 onEvent(quint8 type, Handler handler) { return addHandler({type, 0, 0}, std::move(handler)); }
    /// The same for generic events, by the extension's major opcode.
    quint64 onGenericEvent(quint8 extension, quint16 type, Handler handler) {
        return addHandler({XCB_GE_GENERIC, extension, type}, std::move(handler));
    }
    void removeHandler(quint64 id);

private:
    struct EventKey {
        quint8 type;
        quint8 extension;
        quint16 genericType;
        bool operator==(const EventKey&) const = default;
    };
    struct HandlerEntry {
        quint64 id;
        EventKey key;
        Handler handle;
    };

    quint64 addHandler(EventKey key, Handler handler);
    [[nodiscard]] int descriptor() const override { return server.descriptor(); }
    [[nodiscard]] bool connected() const override { return server.isOpen(); }
    bool react() override;
    void lost() override;

    XConnection server;
    std::vector<HandlerEntry> handlers;
    quint64 lastHandler = 0;
};

} // namespace ovalin
