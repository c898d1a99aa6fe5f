#include "SelectionChanges.h"

#include "base/Log.h"

#include <utility>

#include <xcb/xfixes.h>

namespace ovalin {

using namespace Qt::StringLiterals;

SelectionChanges::SelectionChanges(XThread& xThread, std::function<void(const Change&)> changed)
    : thread(xThread) {
    XConnection& server = thread.connection();
    const quint8 type = server.selectionNotifyType();
    if (type == 0) {
        logOnce(u"no-xfixes"_s, u"Ovalin: no XFixes — the clipboard is not watched"_s);
        return;
    }
    const xcb_window_t root = server.root();
    handler = thread.onEvent(type, [root, changed = std::move(changed)](const xcb_generic_event_t& event) {
        const auto& notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
        if (notify.window == root) // others on this connection listen too, by windows of theirs
            changed({notify.selection, notify.owner, notify.selection_timestamp,
                     notify.subtype != XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER});
    });
    constexpr quint32 ALL = XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE;
    for (const char* name : {"CLIPBOARD", "PRIMARY"})
        xcb_xfixes_select_selection_input(server.get(), root, server.atom(name), ALL);
}

SelectionChanges::~SelectionChanges() {
    if (handler != 0)
        thread.removeHandler(handler);
}

} // namespace ovalin
