#include "OwnPresses.h"

#include "platform/x11/QtConnection.h"

#include <QCoreApplication>

#include <algorithm>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace ovalin {

OwnPresses::OwnPresses() {
    if (!qtConnection())
        return;
    const auto* extension = xcb_get_extension_data(qtConnection(), &xcb_input_id);
    if (extension && extension->present)
        inputExtension = extension->major_opcode;
    qApp->installNativeEventFilter(this);
}

OwnPresses::~OwnPresses() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

bool OwnPresses::includes(quint32 time) const { return std::find(times.begin(), times.end(), time) != times.end(); }

bool OwnPresses::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_ge_generic_event_t*>(message);
    const int type = event->response_type & 0x7f;
    quint32 time = 0;
    if (type == XCB_BUTTON_PRESS)
        time = static_cast<const xcb_button_press_event_t*>(message)->time;
    else if (type == XCB_GE_GENERIC && event->extension == inputExtension &&
             event->event_type == XCB_INPUT_BUTTON_PRESS)
        time = static_cast<const xcb_input_button_press_event_t*>(message)->time;
    if (time != 0)
        times.at(next++ % times.size()) = time;
    return false;
}

} // namespace ovalin
