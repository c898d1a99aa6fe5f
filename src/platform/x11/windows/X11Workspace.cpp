#include "X11Workspace.h"

#include "XWindowId.h"
#include "platform/applications/BundleIds.h"
#include "platform/x11/QtConnection.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <unistd.h>

#include <xcb/xcb.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

QString executableOf(qint32 pid) { return QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName(); }

bool usable(const WindowIdentity& identity) { return identity.named() && identity.pid != ::getpid(); }

} // namespace

X11Workspace::X11Workspace(Dispatch& theDispatch, QStringList applicationFolders)
    : dispatch(theDispatch)
    , folders(std::move(applicationFolders))
    , waylandSession(!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    if (folders.isEmpty())
        folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    if (xcb_connection_t* connection = qtConnection())
        reader.emplace(connection);
    readEntries();
}

std::optional<FrontApplication> X11Workspace::frontmostApplication() {
    if (!reader)
        return {};
    const WindowIdentity identity = frontWindow();
    if (!identity.window)
        return {};
    const DesktopEntry entry = entryFor(identity);
    FrontApplication application;
    application.bundleId = bundleIdentifier(identity.instance, identity.wmClass, entry.id);
    application.name = entry.name;
    if (application.name.isEmpty())
        application.name = identity.wmClass.isEmpty() ? identity.instance : identity.wmClass;
    application.pid = identity.pid;
    application.window = {identity.window};
    return application;
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

DesktopEntry X11Workspace::entryFor(const WindowIdentity& identity) {
    DesktopEntry entry = entries.find(identity.wmClass, identity.instance, executableOf(identity.pid));
    const QString& application = identity.wmClass;
    if (entry.id.isEmpty() && !reading && !unknown.contains(application)) {
        unknown << application;
        readEntries(); // installed since; its name is known at the next opening
    }
    return entry;
}

void X11Workspace::readEntries() {
    reading = true;
    dispatch.inBackground(
        Queue::Utility, &context,
        [from = folders, locale = DesktopEntries::messageLocale()] { return DesktopEntries::read(from, locale); },
        [this](DesktopEntries fresh) {
            entries = std::move(fresh);
            reading = false;
        });
}

QString X11Workspace::title(WindowId window) { return reader ? reader->title(xWindow(window)) : QString(); }

QString X11Workspace::windowManager() {
    const quint32 manager = reader ? reader->windowManager() : 0;
    return manager ? reader->title(manager) : QString();
}

} // namespace ovalin
