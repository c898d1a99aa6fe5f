#include "XThread.h"

#include "base/Log.h"

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

XThread::XThread(const QByteArray& display)
    : server(display) {
    if (server.isOpen())
        begin();
    else
        logOnce(u"x-thread-none"_s, u"Ovalin: no X server — selections are not available"_s);
}

XThread::~XThread() { finish(); }

quint64 XThread::addHandler(EventKey key, Handler handler) {
    handlers.push_back({++lastHandler, key, std::move(handler)});
    return lastHandler;
}

void XThread::removeHandler(quint64 id) {
    std::erase_if(handlers, [id](const HandlerEntry& entry) { return entry.id == id; });
}

void XThread::lost() { logOnce(u"x-server-gone"_s, u"Ovalin: the X server is gone — exiting"_s); }

bool XThread::react() {
    xcb_flush(server.get()); // first: a full socket makes it read events meanwhile
    bool any = false;
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(server.get())}) {
        any = true;
        EventKey key{static_cast<quint8>(event->response_type & 0x7f), 0, 0};
        // 0 is the error of a request that nobody waits for: a window that just closed, as a rule.
        if (key.type == XCB_GE_GENERIC) {
            const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
            key.extension = generic->extension;
            key.genericType = generic->event_type;
        }
        for (const HandlerEntry& entry : handlers) {
            if (entry.key == key)
                entry.handle(*event);
        }
    }
    return any;
}

} // namespace ovalin
