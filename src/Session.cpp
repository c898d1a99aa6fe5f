#include "Session.h"

#include "base/Log.h"
#include "platform/x11/XServer.h"
#include "platform/x11/desktop/X11Desktop.h"
#ifdef OVALIN_WAYLAND
#include "platform/wayland/desktop/SessionChoice.h"
#include "platform/wayland/desktop/WaylandDesktop.h"
#include "platform/wayland/panel/LayerPanels.h"
#endif

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

#ifndef OVALIN_WAYLAND
struct WaylandSession {
    bool there;
    QString lacks;
};
WaylandSession lookForWayland() {
    return {!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"), u"this program was built without it"_s};
}
void prepareForLayers() {}
#endif

} // namespace

SessionChoice chooseSession(const CommandLine& command) {
    using Wish = CommandLine::Session;
    const bool forX = command.session == Wish::X11 || command.platform.startsWith("xcb");
    const bool forWayland = command.session == Wish::Wayland || command.platform.startsWith("wayland");
    if (!forX && !forWayland && !command.platform.isEmpty())
        return {false, u"-platform %1 asks for another"_s.arg(QString::fromLocal8Bit(command.platform)), {}};
    const WaylandSession session = lookForWayland();
    if (!forX && session.lacks.isEmpty()) {
        prepareForLayers();
        qputenv("QT_WAYLAND_CLIENT_BUFFER_INTEGRATION", "none"); // GL would take memory and time for nothing
        return {true, {}, {}};
    }
    if (forWayland)
        return {true, session.lacks, {}};
    if (const auto noServer = whyNoServer())
        return {false, *noServer, {}};
    if (!session.there) {
        qunsetenv("WAYLAND_DISPLAY"); // left over from another session
        return {};
    }
    const QString why = session.lacks.isEmpty() ? u"it was started for X11"_s : session.lacks;
    return {false, {}, u"Ovalin knows nothing of Wayland windows here: "_s + why};
}

struct Session::Parts {
    QString notice;
    std::unique_ptr<X11Desktop> x11;
#ifdef OVALIN_WAYLAND
    std::unique_ptr<WaylandDesktop> wayland;
#endif
};

Session::Session(const SessionChoice& choice, Dispatch& dispatch, const KeyChord& hotkey)
    : parts(std::make_unique<Parts>()) {
    parts->notice = choice.notice;
#ifdef OVALIN_WAYLAND
    if (choice.wayland) {
        parts->wayland = std::make_unique<WaylandDesktop>(dispatch, hotkey);
        parts->notice = parts->wayland->missing();
        return;
    }
#endif
    parts->x11 = std::make_unique<X11Desktop>(dispatch, hotkey);
    logMissingExtensions();
}

Session::~Session() = default;

Desktop Session::desktop() {
#ifdef OVALIN_WAYLAND
    if (parts->wayland)
        return parts->wayland->desktop();
#endif
    return parts->x11->desktop();
}

Windows& Session::windows() {
#ifdef OVALIN_WAYLAND
    if (parts->wayland)
        return parts->wayland->windows();
#endif
    return parts->x11->windows();
}

std::function<QImage(qint32)> Session::pictures() {
#ifdef OVALIN_WAYLAND
    if (parts->wayland)
        return [wayland = parts->wayland.get()](qint32 pid) { return wayland->picture(pid); };
#endif
    return {};
}

QString Session::notice() const { return parts->notice; }

} // namespace ovalin
