#include "keyboard/KeyboardDesk.h"

#include "platform/x11/RootWindow.h"
#include "platform/x11/XReply.h"

#include <string_view>

#include <xcb/composite.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace ovalin {

OtherClient::OtherClient()
    : connection(xcb_connect(nullptr, nullptr)) {
    const XReply<xcb_input_xi_query_device_reply_t> devices(xcb_input_xi_query_device_reply(
        connection, xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL), nullptr));
    for (auto it = xcb_input_xi_query_device_infos_iterator(devices.get()); it.rem;
         xcb_input_xi_device_info_next(&it)) {
        const std::string_view name(xcb_input_xi_device_info_name(it.data),
                                    static_cast<size_t>(xcb_input_xi_device_info_name_length(it.data)));
        if (it.data->type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD && name.find("XTEST") == std::string_view::npos)
            keyboardDevice = static_cast<quint8>(it.data->deviceid);
    }
}

OtherClient::~OtherClient() { xcb_disconnect(connection); }

int OtherClient::grabKey(quint8 key, quint16 state) {
    const auto cookie = xcb_grab_key_checked(connection, 0, rootWindow(connection), state, key, XCB_GRAB_MODE_ASYNC,
                                             XCB_GRAB_MODE_ASYNC);
    const XReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
    return error ? error->error_code : 0;
}

void OtherClient::ungrabKey(quint8 key, quint16 state) {
    std::free(xcb_request_check(connection, xcb_ungrab_key_checked(connection, key, rootWindow(connection), state)));
}

bool OtherClient::grabKeyboard() {
    const XReply<xcb_grab_keyboard_reply_t> reply(
        xcb_grab_keyboard_reply(connection,
                                xcb_grab_keyboard(connection, 0, rootWindow(connection), XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

void OtherClient::ungrabKeyboard() {
    std::free(xcb_request_check(connection, xcb_ungrab_keyboard_checked(connection, XCB_CURRENT_TIME)));
}

quint32 OtherClient::showUnmanaged(QSize size) {
    const quint32 window = xcb_generate_id(connection), unmanaged = 1;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, static_cast<uint16_t>(size.width()),
                      static_cast<uint16_t>(size.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
    std::free(xcb_request_check(connection, xcb_map_window_checked(connection, window)));
    return window;
}

void OtherClient::hide(quint32 window) {
    std::free(xcb_request_check(connection, xcb_destroy_window_checked(connection, window)));
}

void OtherClient::showOverlay() {
    std::free(xcb_composite_query_version_reply(connection, xcb_composite_query_version(connection, 0, 4), nullptr));
    const auto ask = xcb_composite_get_overlay_window(connection, rootWindow(connection));
    std::free(xcb_composite_get_overlay_window_reply(connection, ask, nullptr));
}

void OtherClient::hideOverlay() {
    std::free(xcb_request_check(connection,
                                xcb_composite_release_overlay_window_checked(connection, rootWindow(connection))));
}

void OtherClient::finger(quint8 key, bool down) {
    const quint8 first = xcb_get_extension_data(connection, &xcb_input_id)->first_event;
    const auto type = static_cast<uint8_t>(first + (down ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE));
    std::free(xcb_request_check(connection, xcb_test_fake_input_checked(connection, type, key, XCB_CURRENT_TIME,
                                                                        XCB_NONE, 0, 0, keyboardDevice)));
}

bool OtherClient::isDown(quint8 key) {
    const XReply<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    return keys->keys[key / 8] >> (key % 8) & 1;
}

void OtherClient::setSymbolsOf(quint8 key, quint32 symbol) {
    std::free(xcb_request_check(connection, xcb_change_keyboard_mapping_checked(connection, 1, key, 1, &symbol)));
}

void tap(const char* name) { desk().xdo(u"key "_s + QString::fromLatin1(name)); }
QString focusedWindow() { return desk().xdo(u"getwindowfocus"_s); }
QString activeWindow() { return desk().xdo(u"getactivewindow"_s); }

Editor openEditor(const QString& text, Focus awaited) {
    static int count = 0;
    const QString file = u"text%1.txt"_s.arg(++count);
    writeFile(desk().path(file), text.toUtf8());
    Editor editor{desk().start(u"mousepad"_s, {u"--disable-server"_s, desk().path(file)}), QString()};
    editor.window = desk().waitForWindow(file);
    if (awaited == Focus::Yes)
        waitUntil([&] { return !editor.window.isEmpty() && focusedWindow() == editor.window; });
    return editor;
}

Editor openTerminal() {
    Editor terminal{desk().start(u"xterm"_s, {u"-e"_s, u"cat"_s}), QString()};
    terminal.window = desk().waitForWindow(u"XTerm"_s);
    waitUntil([&] { return activeWindow() == terminal.window; });
    return terminal;
}

void setSelection(const char* selection, const QString& text) {
    if (desk().selection(selection) == text)
        return; // a second owner of the same words could come after what is copied next, and nobody would see it
    writeFile(desk().path(u"selection"_s), text.toUtf8());
    // -quiet keeps it in the foreground, so that it ends with the desk.
    desk().start(u"xclip"_s,
                 {u"-quiet"_s, u"-i"_s, u"-selection"_s, QString::fromLatin1(selection), desk().path(u"selection"_s)});
    waitUntil([&] { return desk().selection(selection) == text; });
}

PanelWindow::PanelWindow()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint)
    , line(this) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setGeometry(700, 500, 300, 60);
    line.setGeometry(10, 10, 280, 30);
    line.setFocus();
    show();
}

PanelWindow::~PanelWindow() { line.setParent(nullptr); }

} // namespace ovalin
