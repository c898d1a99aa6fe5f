#include "X11Workspace.h"

#include "XWindowId.h"
#include "platform/x11/QtConnection.h"

#include <unistd.h>

#include <xcb/xcb.h>

namespace ovalin {

namespace {

bool usable(const WindowIdentity& identity) { return identity.named() && identity.pid != ::getpid(); }

} // namespace

X11Workspace::X11Workspace(Dispatch& dispatch, QStringList applicationFolders)
    : names(dispatch, std::move(applicationFolders))
    , waylandSession(!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    if (xcb_connection_t* connection = qtConnection())
        reader.emplace(connection);
}

std::optional<FrontApplication> X11Workspace::frontmostApplication() {
    if (!reader)
        return {};
    const WindowIdentity identity = frontWindow();
    if (!identity.window)
        return {};
    const auto [name, bundleId] = names.find(identity.wmClass, identity.instance, identity.pid);
    return FrontApplication{name, bundleId, identity.pid, {identity.window}};
}

WindowIdentity X11Workspace::frontWindow() const {
    const WindowReader::Root root = reader->root();
    const quint32 manager = reader->windowManager(root.check);
    // A window manager that died leaves its root properties behind, and they lie.
    const auto identities = reader->identify({manager ? root.active : 0, root.focus});
    if (usable(identities[0]))
        return identities[0];
    // The focus and the pointer may be over a window that is no X11 one; what lies there otherwise is not meant.
    if (waylandSession)
        return {};
    // The manager parks the focus on a window of its own when no application has it.
    if (manager && root.focus == manager)
        return {};
    WindowIdentity focused = identities[1].named() ? identities[1] : reader->clientAbove(root.focus);
    if (usable(focused))
        return focused;
    WindowIdentity pointed = reader->clientBelow(root.underPointer);
    return usable(pointed) ? pointed : WindowIdentity{};
}

QString X11Workspace::title(WindowId window) { return reader ? reader->title(xWindow(window)) : QString(); }

QString X11Workspace::windowManager() {
    const quint32 manager = reader ? reader->windowManager() : 0;
    return manager ? reader->title(manager) : QString();
}

} // namespace ovalin
