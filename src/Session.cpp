#include "Session.h"

#include "base/Log.h"
#include "platform/x11/XServer.h"
#include "platform/x11/desktop/X11Desktop.h"
#ifdef OVALIN_WAYLAND
#include "platform/wayland/desktop/SessionChoice.h"
#include "platform/wayland/desktop/WaylandDesktop.h"
#include "platform/wayland/gnome/GnomeDesktop.h"
#include "platform/wayland/panel/LayerPanels.h"
#endif

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using Kind = SessionChoice::Kind;

#ifndef OVALIN_WAYLAND
struct WaylandSession {
    bool there;
    bool layers;
    QString lacks;
};
WaylandSession lookForWayland() {
    return {!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"), false, u"this program was built without it"_s};
}
void prepareForWayland(bool) {}
#endif

} // namespace

SessionChoice chooseSession(const CommandLine& command) {
    using Wish = CommandLine::Session;
    const bool forX = command.session == Wish::X11 || command.platform.startsWith("xcb");
    const bool forWayland = command.session == Wish::Wayland || command.platform.startsWith("wayland");
    if (!forX && !forWayland && !command.platform.isEmpty())
        return {Kind::X11, u"-platform %1 asks for another"_s.arg(QString::fromLocal8Bit(command.platform)), {}};
    const WaylandSession session = lookForWayland();
    if (!forX && session.lacks.isEmpty()) {
        prepareForWayland(session.layers);
        return {session.layers ? Kind::Layers : Kind::Window, {}, {}};
    }
    if (forWayland)
        return {Kind::Layers, session.lacks, {}};
    if (const auto noServer = whyNoServer())
        return {Kind::X11, *noServer, {}};
    if (!session.there) {
        qunsetenv("WAYLAND_DISPLAY"); // left over from another session
        return {};
    }
    const QString why = session.lacks.isEmpty() ? u"it was started for X11"_s : session.lacks;
    return {Kind::X11, {}, u"Ovalin knows nothing of Wayland windows here: "_s + why};
}

std::unique_ptr<RealDesktop> makeDesktop([[maybe_unused]] const SessionChoice& choice, Dispatch& dispatch,
                                         const KeyChord& hotkey) {
#ifdef OVALIN_WAYLAND
    if (choice.kind == Kind::Layers)
        return std::make_unique<WaylandDesktop>(dispatch, hotkey);
    if (choice.kind == Kind::Window)
        return std::make_unique<GnomeDesktop>(dispatch, hotkey);
#endif
    logMissingExtensions();
    return std::make_unique<X11Desktop>(dispatch, hotkey);
}

} // namespace ovalin
