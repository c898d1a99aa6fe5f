#include "X11Workspace.h"

#include "BundleIds.h"
#include "platform/x11/QtConnection.h"
#include "platform/x11/RootWindow.h"
#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

#include <unistd.h>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

QString executableOf(qint32 pid) { return QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName(); }

/// The strips of one window. Four numbers tell how deep they are at the left, right, upper and lower edge, eight more
/// where each begins and ends along it.
void addStrips(std::vector<ReservedStrip>& strips, QSize root, const std::vector<quint32>& values) {
    if (values.size() != 4 && values.size() != 12)
        return;
    constexpr Qt::Edge EDGES[] = {Qt::LeftEdge, Qt::RightEdge, Qt::TopEdge, Qt::BottomEdge};
    for (size_t i = 0; i < 4; ++i) {
        const bool upright = i < 2;
        const int extent = upright ? root.width() : root.height(), length = upright ? root.height() : root.width();
        const int depth = static_cast<int>(std::min<quint32>(values[i], static_cast<quint32>(extent)));
        int from = 0, to = length;
        if (values.size() == 12) {
            from = static_cast<int>(std::min<quint32>(values[4 + 2 * i], static_cast<quint32>(length)));
            to = static_cast<int>(std::min<quint32>(values[5 + 2 * i], static_cast<quint32>(length) - 1)) + 1;
        }
        if (depth == 0 || to <= from)
            continue;
        const int start = i % 2 == 0 ? 0 : extent - depth;
        strips.push_back(
            {EDGES[i], upright ? QRect(start, from, depth, to - from) : QRect(from, start, to - from, depth)});
    }
}

bool usable(const WindowIdentity& identity) { return identity.named() && identity.pid != ::getpid(); }

} // namespace

X11Workspace::X11Workspace(Dispatch& theDispatch, QStringList applicationFolders)
    : dispatch(theDispatch)
    , folders(std::move(applicationFolders))
    , waylandSession(!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    if (folders.isEmpty())
        folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    if (xcb_connection_t* connection = qtConnection()) {
        reader.emplace(connection);
        const QByteArray compositor = "_NET_WM_CM_S" + QByteArray::number(screenNumber());
        const char* const names[] = {compositor.constData(), "_NET_WM_STRUT", "_NET_WM_STRUT_PARTIAL"};
        const auto atoms = internAtoms(connection, names);
        compositorSelection = atoms[0];
        strut = atoms[1];
        strutPartial = atoms[2];
        watchCompositor();
        addWindowEvents(connection, reader->rootId(), XCB_EVENT_MASK_PROPERTY_CHANGE);
        watchWindowManager();
        qApp->installNativeEventFilter(this);
    }
    readEntries();
}

X11Workspace::~X11Workspace() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

void X11Workspace::watchCompositor() {
    xcb_connection_t* connection = qtConnection();
    const auto* fixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (!fixes || !fixes->present || !compositorSelection)
        return;
    // The extension refuses to work for a client that did not ask for its version.
    const XReply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(connection, xcb_xfixes_query_version(connection, 5, 0), nullptr));
    constexpr quint32 ALL = XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE;
    xcb_xfixes_select_selection_input(connection, reader->rootId(), compositorSelection, ALL);
    selectionEvent = fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
}

void X11Workspace::watchWindowManager() {
    managersWindow = reader->windowManager();
    if (managersWindow)
        addWindowEvents(qtConnection(), managersWindow, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

bool X11Workspace::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type;
    if (type != 0 && type == selectionEvent) {
        // Qt listens too, by a window of its own.
        const auto* notify = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
        if (notify->selection == compositorSelection && notify->window == reader->rootId() && compositorChanged)
            compositorChanged();
    } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto* property = static_cast<const xcb_property_notify_event_t*>(message);
        if (property->window == reader->rootId() && property->atom == reader->checkAtom())
            watchWindowManager();
    } else if (type == XCB_DESTROY_NOTIFY && managersWindow &&
               static_cast<const xcb_destroy_notify_event_t*>(message)->window == managersWindow) {
        managersWindow = 0;
        if (windowManagerDied)
            windowManagerDied();
    }
    return false;
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

std::vector<ReservedStrip> X11Workspace::reservedStrips() {
    if (!reader)
        return {};
    xcb_connection_t* connection = qtConnection();
    const auto askRoot = xcb_get_geometry(connection, reader->rootId());
    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> asked;
    for (const quint32 window : reader->managedWindows())
        asked.emplace_back(askProperty(connection, window, strutPartial), askProperty(connection, window, strut));
    const XReply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(connection, askRoot, nullptr));
    std::vector<ReservedStrip> strips;
    for (const auto& [askPartial, askWhole] : asked) {
        const auto partial = takeWords(connection, askPartial), whole = takeWords(connection, askWhole);
        if (root)
            addStrips(strips, QSize(root->width, root->height), partial.size() == 12 ? partial : whole);
    }
    return strips;
}

QString X11Workspace::title(quint32 window) { return reader ? reader->title(window) : QString(); }

QString X11Workspace::windowManager() {
    const quint32 manager = reader ? reader->windowManager() : 0;
    return manager ? reader->title(manager) : QString();
}

bool X11Workspace::compositorRuns() {
    xcb_connection_t* connection = qtConnection();
    if (!connection || !compositorSelection)
        return false;
    const XReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, compositorSelection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

} // namespace ovalin
