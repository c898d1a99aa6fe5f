#include "XServer.h"

#include "QtConnection.h"
#include "base/Log.h"

#include <QCoreApplication>
#include <QThread>

#include <utility>

#include <unistd.h>

#include <xcb/composite.h>
#include <xcb/res.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

std::function<void()> will;
QtMessageHandler handlerBefore = nullptr;

// Qt's platform plugin has no other sign: it warns, and calls exit() with all our threads still at work.
void onMessage(QtMsgType type, const QMessageLogContext& where, const QString& message) {
    const bool wayland = message.startsWith(QLatin1String("The Wayland connection"));
    const bool lost = wayland || message.startsWith(QLatin1String("The X11 connection broke"));
    if (lost && will && qApp && QThread::currentThread() == qApp->thread()) {
        if (wayland)
            logOnce(u"compositor-gone"_s, u"Ovalin: the Wayland compositor is gone — exiting"_s);
        else
            logOnce(u"x-server-gone"_s, u"Ovalin: the X server is gone — exiting"_s);
        std::exchange(will, {})();
        ::_exit(1);
    }
    if (!lost && handlerBefore)
        handlerBefore(type, where, message);
}

} // namespace

std::optional<QString> whyNoServer() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool failed = xcb_connection_has_error(connection) != 0;
    xcb_disconnect(connection);
    if (!failed)
        return {};
    const QString display = qEnvironmentVariable("DISPLAY");
    return display.isEmpty() ? u"DISPLAY is not set"_s : u"none can be reached at DISPLAY \"%1\""_s.arg(display);
}

void logMissingExtensions() {
    const struct {
        xcb_extension_t* id;
        const char* name;
        const char* loss;
    } rows[] = {
        {&xcb_res_id, "X-Resource", "sandboxed applications cannot be told apart"},
        {&xcb_test_id, "XTEST", "no keys can be sent: Replace and Insert leave their text on the clipboard"},
        {&xcb_xfixes_id, "XFIXES", "changes of the clipboard and the selection are not noticed"},
        {&xcb_input_id, "XInputExtension", "what is selected while the panel is open is not noticed"},
        {&xcb_composite_id, "Composite", "pictures show what covers a window"},
    };
    xcb_connection_t* connection = qtConnection();
    if (!connection)
        return;
    for (const auto& row : rows)
        xcb_prefetch_extension_data(connection, row.id);
    for (const auto& row : rows) {
        const auto* extension = xcb_get_extension_data(connection, row.id);
        if (!extension || !extension->present)
            logLine(u"Ovalin: the X server has no %1 — %2"_s.arg(QString::fromLatin1(row.name),
                                                                 QString::fromLatin1(row.loss)));
    }
}

ServerLoss::ServerLoss(std::function<void()> lastWill) {
    will = std::move(lastWill);
    handlerBefore = qInstallMessageHandler(&onMessage);
}

ServerLoss::~ServerLoss() {
    qInstallMessageHandler(handlerBefore);
    will = {};
}

} // namespace ovalin
