#include "X11Panels.h"

#include "platform/x11/QtConnection.h"
#include "platform/x11/RootWindow.h"
#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"

#include <QCursor>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QWidget>
#include <QtMath>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace ovalin {

namespace {

/// Whether the pixels of the root window lie in memory as those of QImage::Format_RGB32 do.
bool hasPlainPixels(xcb_connection_t* connection, quint32 root) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const bool sameOrder = (setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) == (Q_BYTE_ORDER == Q_LITTLE_ENDIAN);
    for (auto screen = xcb_setup_roots_iterator(setup); screen.rem; xcb_screen_next(&screen)) {
        if (screen.data->root != root || screen.data->root_depth != 24)
            continue;
        for (auto depth = xcb_screen_allowed_depths_iterator(screen.data); depth.rem; xcb_depth_next(&depth))
            for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem; xcb_visualtype_next(&visual))
                if (visual.data->visual_id == screen.data->root_visual)
                    return sameOrder && visual.data->red_mask == 0xff0000 && visual.data->blue_mask == 0xff;
    }
    return false;
}

/// Null: the area is not all on the screen.
QImage rootPixels(xcb_connection_t* connection, quint32 root, const QRect& area) {
    const auto width = static_cast<quint16>(area.width()), height = static_cast<quint16>(area.height());
    const XReply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection,
                            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<qint16>(area.x()),
                                          static_cast<qint16>(area.y()), width, height, ~0U),
                            nullptr));
    if (!reply || xcb_get_image_data_length(reply.get()) < 4 * width * height)
        return {};
    return QImage(xcb_get_image_data(reply.get()), width, height, 4 * width, QImage::Format_RGB32).copy();
}

} // namespace

X11Panels::X11Panels() {
    xcb_connection_t* connection = qtConnection();
    if (!connection)
        return;
    reader.emplace(connection);
    plainPixels = hasPlainPixels(connection, reader->rootId());
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

X11Panels::~X11Panels() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

void X11Panels::watchCompositor() {
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
    findCompositor();
}

void X11Panels::watchWindowManager() {
    managersWindow = reader->windowManager();
    if (managersWindow)
        addWindowEvents(qtConnection(), managersWindow, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

bool X11Panels::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type;
    if (type != 0 && type == selectionEvent) {
        // Qt listens too, by a window of its own.
        const auto* notify = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
        if (notify->selection == compositorSelection && notify->window == reader->rootId()) {
            compositorWindow = notify->owner;
            if (compositedChanged)
                compositedChanged();
        }
    } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto* property = static_cast<const xcb_property_notify_event_t*>(message);
        if (property->window == reader->rootId() && property->atom == reader->checkAtom())
            watchWindowManager();
    } else if (type == XCB_DESTROY_NOTIFY && managersWindow &&
               static_cast<const xcb_destroy_notify_event_t*>(message)->window == managersWindow) {
        managersWindow = 0;
        if (covered)
            covered();
    }
    return false;
}

std::vector<ReservedStrip> X11Panels::reservedStrips() {
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

void X11Panels::findCompositor() {
    xcb_connection_t* connection = qtConnection();
    const XReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, compositorSelection), nullptr));
    compositorWindow = reply ? reply->owner : XCB_NONE;
}

bool X11Panels::composited() {
    if (compositorSelection && !selectionEvent) // nobody tells of it
        findCompositor();
    return compositorWindow != XCB_NONE;
}

std::vector<ScreenArea> X11Panels::screens() {
    const auto strips = reservedStrips();
    std::vector<ScreenArea> areas;
    const QScreen* main = QGuiApplication::primaryScreen();
    for (const QScreen* screen : QGuiApplication::screens()) {
        // Qt scales a screen's size and leaves its corner where it is. It knows docks only of a single monitor.
        const QRect frame = screen->geometry();
        const qreal ratio = screen->devicePixelRatio();
        const QRect rest = freeOf(QRect(frame.topLeft(), (QSizeF(frame.size()) * ratio).toSize()), strips);
        const QPointF from = QPointF(rest.topLeft() - frame.topLeft()) / ratio;
        const QRectF scaled(QPointF(frame.topLeft()) + from, QSizeF(rest.size()) / ratio);
        const QRect inside = QRect(QPoint(qCeil(scaled.left()), qCeil(scaled.top())),
                                   QPoint(qFloor(scaled.right()), qFloor(scaled.bottom())) - QPoint(1, 1));
        const ScreenArea area{frame, inside & screen->availableGeometry()};
        if (screen == main)
            areas.insert(areas.begin(), area);
        else
            areas.push_back(area);
    }
    return areas;
}

QPoint X11Panels::pointer() { return QCursor::pos(); }

QImage X11Panels::backdrop(const QRect& area) {
    QScreen* screen = QGuiApplication::screenAt(area.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen || area.isEmpty())
        return {};
    const QPoint offset = area.topLeft() - screen->geometry().topLeft();
    if (plainPixels) { // Qt needs several round trips
        const qreal ratio = screen->devicePixelRatio();
        const QPoint corner = screen->geometry().topLeft() + (QPointF(offset) * ratio).toPoint();
        QImage picture =
            rootPixels(qtConnection(), reader->rootId(), QRect(corner, (QSizeF(area.size()) * ratio).toSize()));
        picture.setDevicePixelRatio(ratio);
        if (!picture.isNull())
            return picture;
    }
    return screen->grabWindow(0, offset.x(), offset.y(), area.width(), area.height()).toImage();
}

void X11Panels::open(QWidget& window) { window.show(); }
void X11Panels::place(QWidget& window, const QRect& place) { window.setGeometry(place); }

} // namespace ovalin
